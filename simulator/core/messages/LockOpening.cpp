#include "core/Texts.h"
#include "core/messages/Answers.h"
#include "core/messages/Checks.h"

#include <algorithm>

namespace pdasim {

namespace {

constexpr std::string_view ActionWithCode = "00";

const std::string& valueIn(const Tags& group, std::string_view name) {
    return findTag(group, name)->value;
}

LockOperation operationOn(const Lock* lock, const Tags& group, const std::string& localTime) {
    LockOperation operation;
    operation.lockId = valueIn(group, "Ex_LockId");
    operation.action = valueIn(group, "Ex_Action");
    operation.oneTimeCode = valueIn(group, "Ex_OTCCode");
    operation.userA = valueIn(group, "Ex_UserA");
    operation.userB = valueIn(group, "Ex_UserB");
    operation.result = "01";
    if (lock != nullptr) {
        operation.result = "00";
        operation.random = lock->random;
        operation.openTime = localTime;
        operation.battery = lock->battery;
    }
    return operation;
}

} // namespace

void checkLockOpening(const ParsedMessage& message, std::vector<std::string>& violations) {
    const std::string& count = findTag(message.tags, "Ex_LockNum")->value;
    const auto expected = static_cast<std::size_t>(std::max(leadingNumber(count), 0));
    if (message.groups.size() != expected) {
        violations.push_back("Ex_LockNum is " + quoted(count) + ", the message has " +
                             std::to_string(message.groups.size()) + " locks");
    }
    for (const Tags& group : message.groups) {
        const std::string& oneTimeCode = valueIn(group, "Ex_OTCCode");
        if (valueIn(group, "Ex_Action") != ActionWithCode && !oneTimeCode.empty()) {
            violations.push_back("Ex_OTCCode is " + quoted(oneTimeCode) + " for the action " +
                                 quoted(valueIn(group, "Ex_Action")));
        }
    }
}

Reply answerLockOpening(const Request& request, TerminalState& state) {
    state.lockOperations.clear();
    for (const Tags& group : request.message.groups) {
        const auto lock = std::find_if(state.locks.begin(), state.locks.end(), [&group](const Lock& each) {
            return each.id == valueIn(group, "Ex_LockId");
        });
        state.lockOperations.push_back(
            operationOn(lock == state.locks.end() ? nullptr : &*lock, group, request.localTime));
    }
    return Reply().with("Ex_SrcSeqNo", request.message.sequence).withResult(code::Accepted);
}

Reply answerLockResults(const Request& request, TerminalState& state) {
    Reply reply;
    reply.with("Ex_SrcSeqNo", request.message.sequence)
        .withResult(code::Accepted)
        .with("Ex_LockNum", std::to_string(state.lockOperations.size()));
    for (const LockOperation& operation : state.lockOperations) {
        reply.groups.push_back({{"Ex_LockId", operation.lockId},
                                {"Ex_Action", operation.action},
                                {"Ex_Result", operation.result},
                                {"Ex_UserA", operation.userA},
                                {"Ex_UserB", operation.userB},
                                {"Ex_LockRnd", operation.random},
                                {"Ex_OpenTime", operation.openTime},
                                {"Ex_Bat", operation.battery}});
    }
    return reply;
}

} // namespace pdasim
