#include "scenario/MagicValues.h"

#include "scenario/TagCondition.h"

#include <algorithm>

namespace pdasim {

using namespace std::chrono_literals;

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

const std::vector<std::string>& magicTags() {
    static const std::vector<std::string> all = {"Ex_Label", "Ex_TaskId", "Ex_LockId", "Ex_InfoEx",
                                                 "Ex_InfEx"};
    return all;
}

std::vector<Rule> magicRules() {
    std::vector<Rule> rules;
    for (const MagicValue& magic : magicValues()) {
        Fault fault = magic.fault;
        fault.always().when([suffix = std::string(magic.suffix)](const ParsedMessage& message) {
            return std::any_of(magicTags().begin(), magicTags().end(), [&](const std::string& name) {
                return TagCondition{name, TagCondition::Match::EndsWith, suffix}(message);
            });
        });
        rules.push_back({"*", fault});
    }
    return rules;
}

} // namespace pdasim
