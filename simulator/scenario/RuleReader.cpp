#include "scenario/RuleReader.h"

#include "scenario/TagCondition.h"

#include <chrono>
#include <optional>

namespace pdasim {

namespace {

std::chrono::milliseconds milliseconds(const Json& json) {
    return std::chrono::milliseconds(json.asInteger());
}

/** Lets the condition stand for all "true" members: a false one changes nothing. */
bool isSet(const Json& action, const char* name) {
    const Json* value = action.find(name);
    return value != nullptr && value->asBoolean();
}

void readReplyChanges(const Json& action, Fault& fault) {
    if (const Json* tags = action.find("reply"); tags != nullptr) {
        for (const Json& tag : tags->elements()) {
            fault.setTag(tag.find("name")->asText(), tag.find("value")->asText());
        }
    }
    if (const Json* names = action.find("drop"); names != nullptr) {
        for (const std::string& name : names->texts()) {
            fault.dropTag(name);
        }
    }
    if (const Json* code = action.find("refuse"); code != nullptr) {
        fault.refuse(code->asText());
    }
    if (const Json* type = action.find("type"); type != nullptr) {
        fault.replyType(type->asText());
    }
    if (isSet(action, "corruptCrc")) {
        fault.wrongCheck();
    }
}

void readTiming(const Json& action, Fault& fault) {
    if (isSet(action, "silent")) {
        fault.silence();
    }
    if (isSet(action, "repeat")) {
        fault.repeatReply();
    }
    if (const Json* delay = action.find("delay"); delay != nullptr) {
        fault.delay(milliseconds(*delay));
    }
    if (const Json* split = action.find("split"); split != nullptr) {
        const Json* pause = split->find("pause");
        fault.split(static_cast<std::size_t>(split->find("pieces")->asInteger()),
                    pause == nullptr ? std::chrono::milliseconds(0) : milliseconds(*pause));
    }
    if (const Json* disconnect = action.find("disconnect"); disconnect != nullptr) {
        std::optional<std::chrono::milliseconds> back;
        if (const Json* reconnect = action.find("reconnect"); reconnect != nullptr) {
            back = milliseconds(*reconnect);
        }
        disconnect->asText() == "before" ? fault.unplugBeforeReply(back) : fault.unplugAfterReply(back);
    }
}

TagCondition readCondition(const Json& json) {
    const std::string& name = json.find("name")->asText();
    if (const Json* value = json.find("equals"); value != nullptr) {
        return {name, TagCondition::Match::Equals, value->asText()};
    }
    if (const Json* value = json.find("startsWith"); value != nullptr) {
        return {name, TagCondition::Match::StartsWith, value->asText()};
    }
    return {name, TagCondition::Match::EndsWith, json.find("endsWith")->asText()};
}

} // namespace

Rule readRule(const Json& json) {
    Fault fault;
    const Json& action = *json.find("do");
    readReplyChanges(action, fault);
    readTiming(action, fault);
    fault.always();
    if (const Json* times = json.find("times"); times != nullptr) {
        fault.times(static_cast<std::size_t>(times->asInteger()));
    }
    if (const Json* from = json.find("from"); from != nullptr) {
        fault.from(static_cast<std::size_t>(from->asInteger()));
    }
    if (const Json* condition = json.find("tag"); condition != nullptr) {
        fault.when(readCondition(*condition));
    }
    return {json.find("on")->asText(), fault};
}

} // namespace pdasim
