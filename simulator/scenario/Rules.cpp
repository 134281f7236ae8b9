#include "scenario/Rules.h"

#include "core/MessageTable.h"
#include "core/Terminal.h"
#include "scenario/Fields.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <utility>

namespace pdasim {

namespace {

using namespace std::chrono_literals;

using Texts = std::vector<std::string>;
using Condition = std::function<bool(const ParsedMessage&)>;

constexpr const char* kCheckTag = "Ex_HexCheck";
constexpr std::int64_t kMaxCount = 1000000;
/// The tags whose endings are magic.
constexpr std::array<const char*, 5> kMagicTags = {"Ex_Label", "Ex_TaskId", "Ex_LockId", "Ex_InfoEx",
                                                   "Ex_InfEx"};
const TextRule kDisconnection = {R"("before" or "after")",
                                 [](const std::string& text) { return text == "before" || text == "after"; }};

/// Whether a message has a tag that holds the value, among its own or in one of its groups of locks.
template <typename Matches>
Condition hasTag(const std::string& name, const std::string& value, Matches matches) {
    const auto isIn = [name, value, matches](const Tags& tags) {
        return std::any_of(tags.begin(), tags.end(),
                           [&](const Tag& tag) { return tag.name == name && matches(tag.value, value); });
    };
    return [isIn](const ParsedMessage& message) {
        return isIn(message.tags) || std::any_of(message.groups.begin(), message.groups.end(), isIn);
    };
}

bool equals(const std::string& text, const std::string& value) {
    return text == value;
}

bool startsWith(const std::string& text, const std::string& value) {
    return text.compare(0, value.size(), value) == 0;
}

bool endsWith(const std::string& text, const std::string& value) {
    return text.size() >= value.size() &&
           text.compare(text.size() - value.size(), std::string::npos, value) == 0;
}

bool holds(const Texts& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::string shownType(const std::string& type) {
    return type == Terminal::AnyType ? "of any type" : "of type " + type;
}

/// Refuses the name of a tag that is not known.
void requireKnown(const Value& name, const Texts& known, const std::string& missing) {
    name.require(holds(known, name.json.get<std::string>()),
                 missing + "; " + (known.empty() ? "there is none" : "there are " + joined(known)));
}

std::size_t takeCount(const Value& value) {
    return static_cast<std::size_t>(takeInteger(value, 1, kMaxCount));
}

std::string takeType(const Value& value) {
    Texts types = {std::string(Terminal::AnyType)};
    for (const MessageRow& row : messageRows()) {
        if (row.answer != nullptr) {
            types.emplace_back(row.type);
        }
    }
    std::string type = takeText(value);
    value.require(holds(types, type), "must be one of " + joined(types));
    return type;
}

void takeCondition(const Value& value, const std::string& type, Fault& fault) {
    std::string name;
    const auto take = [&name, &fault](auto matches) {
        return [&name, &fault, matches](const Value& text) {
            fault.when(hasTag(name, takeText(text), matches));
        };
    };
    takeObject(value, {{"name", text(name, kTagName), true},
                       {"equals", take(equals)},
                       {"startsWith", take(startsWith)},
                       {"endsWith", take(endsWith)}});
    requireOneOf(value, {"equals", "startsWith", "endsWith"});
    requireKnown({value.json["name"], value.path + "/name"}, requestTagNames(type),
                 "no message " + shownType(type) + " has such a tag to ask for");
}

void takeReplyTag(const Value& value, Fault& fault) {
    Tag tag;
    takeObject(value, {{"name", text(tag.name, kTagName), true}, {"value", text(tag.value), true}});
    fault.setTag(tag.name, tag.value);
}

void takeCorruption(const Value& value, const std::string& type, Fault& fault) {
    if (!takeFlag(value)) {
        return;
    }
    Texts types;
    for (const MessageRow& row : messageRows()) {
        if (holds(replyTagNames(row.type), kCheckTag)) {
            types.emplace_back(row.type);
        }
    }
    value.require(holds(replyTagNames(type), kCheckTag),
                  "no reply " + shownType(type) + " has a check value; only " + joined(types) + " has one");
    fault.wrongCheck();
}

void takeSplit(const Value& value, Fault& fault) {
    std::size_t pieces = 0;
    std::chrono::milliseconds pause(0);
    takeObject(value, {{"pieces", integer(pieces, 2, 1000), true}, {"pause", milliseconds(pause)}});
    fault.split(pieces, pause);
}

/// Calls the member function of the fault when the flag is set: a false one changes nothing.
Take whenSet(Fault& fault, Fault& (Fault::*change)()) {
    return [&fault, change](const Value& value) {
        if (takeFlag(value)) {
            (fault.*change)();
        }
    };
}

void takeAction(const Value& value, const std::string& type, Fault& fault) {
    std::string disconnect;
    std::optional<std::chrono::milliseconds> reconnect;
    std::chrono::milliseconds delay(0);
    const std::string missing = "no reply " + shownType(type) + " has such a tag to drop";
    const auto setReplyTag = [&](const Value& tag) { takeReplyTag(tag, fault); };
    const auto drop = [&](const Value& name) {
        fault.dropTag(takeText(name, kTagName));
        requireKnown(name, replyTagNames(type), missing);
    };
    takeObject(value, {{"reply", [&](const Value& tags) { takeList(tags, setReplyTag, 1); }},
                       {"drop", [&](const Value& names) { takeList(names, drop, 1); }},
                       {"refuse", [&](const Value& code) { fault.refuse(takeText(code, kReturnCode)); }},
                       {"type", [&](const Value& text) { fault.replyType(takeText(text, kMessageType)); }},
                       {"corruptCrc", [&](const Value& isSet) { takeCorruption(isSet, type, fault); }},
                       {"silent", whenSet(fault, &Fault::silence)},
                       {"repeat", whenSet(fault, &Fault::repeatReply)},
                       {"delay", milliseconds(delay)},
                       {"split", [&](const Value& split) { takeSplit(split, fault); }},
                       {"disconnect", text(disconnect, kDisconnection)},
                       {"reconnect", milliseconds(reconnect)}});
    value.require(!value.json.empty(), "must have at least 1 member");
    value.require(!reconnect || !disconnect.empty(), R"("reconnect" needs "disconnect")");
    fault.delay(delay);
    if (disconnect == "before") {
        fault.unplugBeforeReply(reconnect);
    } else if (disconnect == "after") {
        fault.unplugAfterReply(reconnect);
    }
}

} // namespace

Rule takeRule(const Value& value) {
    Rule rule;
    Fault& fault = rule.fault.always();
    takeObject(value, {{"on", [&](const Value& type) { rule.type = takeType(type); }, true},
                       {"tag", [&](const Value& condition) { takeCondition(condition, rule.type, fault); }},
                       {"from", [&](const Value& count) { fault.from(takeCount(count)); }},
                       {"times", [&](const Value& count) { fault.times(takeCount(count)); }},
                       {"do", [&](const Value& action) { takeAction(action, rule.type, fault); }, true}});
    return rule;
}

const std::vector<MagicValue>& magicValues() {
    static const std::vector<MagicValue> all = {
        {"-REFUSE", "refuses with the result code 000099", Fault().refuse("000099")},
        {"-SILENT", "takes the request and never answers", Fault().silence()},
        {"-SLOW", "answers after 3 seconds", Fault().delay(3s)},
        {"-WRONGTYPE", "answers with a reply of type 8099", Fault().replyType("8099")},
        {"-UNPLUG", "disconnects instead of answering, and is back after 2 seconds",
         Fault().unplugBeforeReply(2s)},
    };
    return all;
}

std::vector<Rule> magicRules() {
    std::vector<Rule> rules;
    for (const MagicValue& magic : magicValues()) {
        Fault fault = magic.fault;
        fault.always().when([suffix = std::string(magic.suffix)](const ParsedMessage& message) {
            return std::any_of(kMagicTags.begin(), kMagicTags.end(),
                               [&](const char* name) { return hasTag(name, suffix, endsWith)(message); });
        });
        rules.push_back({std::string(Terminal::AnyType), fault});
    }
    return rules;
}

} // namespace pdasim
