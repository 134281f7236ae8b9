#include "scenario/Rules.h"

#include "core/MessageTable.h"
#include "core/Terminal.h"
#include "scenario/Schema.h"

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
/// The tags whose endings are magic.
constexpr std::array<const char*, 5> kMagicTags = {"Ex_Label", "Ex_TaskId", "Ex_LockId", "Ex_InfoEx",
                                                   "Ex_InfEx"};

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
void requireKnown(const Json& name, const Texts& known, const std::string& pointer,
                  const std::string& missing) {
    if (!holds(known, name)) {
        refuseAt(pointer, missing + "; " + (known.empty() ? "there is none" : "there are " + joined(known)));
    }
}

void requireCheckTag(const std::string& type, const std::string& pointer) {
    if (holds(replyTagNames(type), kCheckTag)) {
        return;
    }
    Texts types;
    for (const MessageRow& row : messageRows()) {
        if (holds(replyTagNames(row.type), kCheckTag)) {
            types.emplace_back(row.type);
        }
    }
    refuseAt(pointer,
             "no reply " + shownType(type) + " has a check value; only " + joined(types) + " has one");
}

/// What the schema does not say: a rule is only about tags that its messages have.
void checkTags(const Json& json, const std::string& type, const std::string& pointer) {
    if (json.contains("tag")) {
        requireKnown(json["tag"]["name"], requestTagNames(type), pointer + "/tag/name",
                     "no message " + shownType(type) + " has such a tag to ask for");
    }
    const Json& action = json["do"];
    const Json dropped = action.value("drop", Json::array());
    for (std::size_t i = 0; i < dropped.size(); ++i) {
        requireKnown(dropped[i], replyTagNames(type), pointer + "/do/drop/" + std::to_string(i),
                     "no reply " + shownType(type) + " has such a tag to drop");
    }
    if (action.value("corruptCrc", false)) {
        requireCheckTag(type, pointer + "/do/corruptCrc");
    }
}

Condition conditionIn(const Json& tag) {
    const std::string name = tag["name"];
    if (tag.contains("equals")) {
        return hasTag(name, tag["equals"], equals);
    }
    return tag.contains("startsWith") ? hasTag(name, tag["startsWith"], startsWith)
                                      : hasTag(name, tag["endsWith"], endsWith);
}

/// What a member of "do" that is there makes of a fault.
struct Action {
    const char* member;
    void (*apply)(const Json& value, Fault& fault);
};

/// Calls the member function of the fault when the flag is set: a false one changes nothing.
template <Fault& (Fault::*change)()>
void whenSet(const Json& flag, Fault& fault) {
    if (flag.get<bool>()) {
        (fault.*change)();
    }
}

/// In the order in which they change a reply.
constexpr std::array<Action, 8> kActions = {{
    {"reply",
     [](const Json& tags, Fault& fault) {
         for (const Json& tag : tags) {
             fault.setTag(tag["name"], tag["value"]);
         }
     }},
    {"drop",
     [](const Json& names, Fault& fault) {
         for (const Json& name : names) {
             fault.dropTag(name);
         }
     }},
    {"refuse", [](const Json& code, Fault& fault) { fault.refuse(code); }},
    {"type", [](const Json& type, Fault& fault) { fault.replyType(type); }},
    {"corruptCrc", whenSet<&Fault::wrongCheck>},
    {"silent", whenSet<&Fault::silence>},
    {"repeat", whenSet<&Fault::repeatReply>},
    {"split",
     [](const Json& split, Fault& fault) {
         fault.split(split["pieces"], millisecondsIn(split, "pause").value_or(0ms));
     }},
}};

void addActions(const Json& json, Fault& fault) {
    for (const Action& action : kActions) {
        if (json.contains(action.member)) {
            action.apply(json[action.member], fault);
        }
    }
    fault.delay(millisecondsIn(json, "delay").value_or(0ms));
    const std::string disconnect = json.value("disconnect", "");
    const auto reconnect = millisecondsIn(json, "reconnect");
    if (disconnect == "before") {
        fault.unplugBeforeReply(reconnect);
    } else if (disconnect == "after") {
        fault.unplugAfterReply(reconnect);
    }
}

} // namespace

Rule readRule(const Json& json, const std::string& pointer) {
    Rule rule;
    rule.type = json["on"].get<std::string>();
    checkTags(json, rule.type, pointer);
    rule.fault.always();
    if (json.contains("tag")) {
        rule.fault.when(conditionIn(json["tag"]));
    }
    if (json.contains("from")) {
        rule.fault.from(json["from"]);
    }
    if (json.contains("times")) {
        rule.fault.times(json["times"]);
    }
    addActions(json["do"], rule.fault);
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
