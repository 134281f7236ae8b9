#include "core/Texts.h"
#include "core/messages/Answers.h"

#include <algorithm>

namespace pdasim {

namespace {

Reply lockReply(const Request& request, std::string_view returnCode) {
    return Reply().with("Ex_SrcSeqNo", request.message.sequence).withResult(returnCode);
}

Lock* findLock(TerminalState& state, const std::string& id) {
    const auto found = std::find_if(state.locks.begin(), state.locks.end(),
                                    [&id](const Lock& lock) { return lock.id == id; });
    return found == state.locks.end() ? nullptr : &*found;
}

/// A reply about one lock; of one that is out of reach there is nothing more to say.
template <typename Use>
Reply replyAboutLock(const Request& request, TerminalState& state, Use use) {
    Lock* lock = findLock(state, request["Ex_LockId"]);
    Reply reply = lockReply(request, lock == nullptr ? code::UnknownLock : code::Accepted);
    reply.with("Ex_LockId", request["Ex_LockId"]);
    if (lock != nullptr) {
        use(*lock, reply);
    }
    return reply;
}

LockKey readLockKey(const Request& request, const std::string& prefix) {
    return {request[prefix + "FV"], request[prefix + "EV"], request[prefix + "CV"]};
}

constexpr std::string_view kActionWithCode = "00";

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

Reply answerBleMac(const Request& request, TerminalState& state) {
    state.bleMac = request["Ex_BleMac"];
    return accepted();
}

Reply answerLockList(const Request& request, TerminalState& state) {
    Reply reply = lockReply(request, code::Accepted);
    reply.with("Ex_LockNum", std::to_string(state.locks.size()));
    for (const Lock& lock : state.locks) {
        reply.groups.push_back({{"Ex_LockId", lock.id},
                                {"Ex_LockLabel", lock.label},
                                {"Ex_LockStatus", lock.status},
                                {"Ex_LockRssi", lock.rssi}});
    }
    return reply;
}

Reply answerLockInformation(const Request& request, TerminalState& state) {
    return replyAboutLock(request, state, [](const Lock& lock, Reply& reply) {
        reply.with("Ex_LockVer", lock.version)
            .with("Ex_HSCVer", lock.chipVersion)
            .with("Ex_LockParam", lock.params)
            .with("Ex_LockBoot", lock.boot)
            .with("Ex_LockAppCrc", lock.applicationCheck)
            .with("Ex_LockStatus", lock.status)
            .with("Ex_LockRnd", lock.random);
    });
}

Reply answerPublicKey(const Request& request, TerminalState& state) {
    return replyAboutLock(request, state, [](const Lock& lock, Reply& reply) {
        reply.with("Ex_PublicKey", lock.publicKey).with("Ex_FactorCDK", lock.factor);
    });
}

Reply answerInitialLockKey(const Request& request, TerminalState& state) {
    return replyAboutLock(request, state, [&request](Lock& lock, const Reply& /*reply*/) {
        lock.cdkk = readLockKey(request, "Ex_InitCDKK");
    });
}

Reply answerCurrentLockKey(const Request& request, TerminalState& state) {
    return replyAboutLock(request, state, [](const Lock& lock, Reply& reply) {
        reply.with("Ex_CurrentCDKKFV", lock.cdkk.fv).with("Ex_CurrentCDKKCV", lock.cdkk.cv);
    });
}

Reply answerNewLockKeys(const Request& request, TerminalState& state) {
    return replyAboutLock(request, state, [&request](Lock& lock, Reply& reply) {
        lock.cdkk = readLockKey(request, "Ex_NewCDKK");
        lock.params = request["Ex_LockParams"];
        lock.label = request["Ex_LockLabel"];
        reply.with("Ex_LockRnd", lock.random);
    });
}

void checkLockOpening(const ParsedMessage& message, std::vector<std::string>& violations) {
    const std::string& count = findTag(message.tags, "Ex_LockNum")->value;
    const auto expected = static_cast<std::size_t>(std::max(leadingNumber(count), 0));
    if (message.groups.size() != expected) {
        violations.push_back("Ex_LockNum is " + quoted(count) + ", the message has " +
                             std::to_string(message.groups.size()) + " locks");
    }
    for (const Tags& group : message.groups) {
        const std::string& oneTimeCode = valueIn(group, "Ex_OTCCode");
        if (valueIn(group, "Ex_Action") != kActionWithCode && !oneTimeCode.empty()) {
            violations.push_back("Ex_OTCCode is " + quoted(oneTimeCode) + " for the action " +
                                 quoted(valueIn(group, "Ex_Action")));
        }
    }
}

Reply answerLockOpening(const Request& request, TerminalState& state) {
    state.lockOperations.clear();
    for (const Tags& group : request.message.groups) {
        const Lock* lock = findLock(state, valueIn(group, "Ex_LockId"));
        state.lockOperations.push_back(operationOn(lock, group, request.localTime));
    }
    return lockReply(request, code::Accepted);
}

Reply answerLockResults(const Request& request, TerminalState& state) {
    Reply reply = lockReply(request, code::Accepted);
    reply.with("Ex_LockNum", std::to_string(state.lockOperations.size()));
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

} // namespace

// clang-format off
std::vector<MessageRow> lockRows() {
    return {
        {"7001", "Bluetooth address", {"Ex_BleMac"}, answerBleMac},
        {"7011", "lock list", {}, answerLockList},
        {"7012", "lock public key", {"Ex_LockId"}, answerPublicKey},
        {"7013", "initial lock key", {"Ex_LockId", "Ex_InitCDKKFV", "Ex_InitCDKKEV", "Ex_InitCDKKCV"},
         answerInitialLockKey},
        {"7014", "current lock key", {"Ex_LockId"}, answerCurrentLockKey},
        {"7015", "new lock keys",
         {"Ex_LockId", "Ex_NewCDKKFV", "Ex_NewCDKKEV", "Ex_NewCDKKCV", "Ex_NormalUnLockKFV", "Ex_NormalUnLockKEV",
          "Ex_NormalUnLockKCV", "Ex_UrgentUnLockKFV", "Ex_UrgentUnLockKEV", "Ex_UrgentUnLockKCV", "Ex_LockParams",
          "Ex_LockLabel"},
         answerNewLockKeys},
        {"7016", "lock information", {"Ex_LockId"}, answerLockInformation},
        {"7018", "lock opening", {"Ex_LockNum"}, answerLockOpening, checkLockOpening, std::nullopt, LengthUnit::Characters,
         {"Ex_LockId", "Ex_Action", "Ex_OTCCode", "Ex_UserA", "Ex_UserB"}},
        {"7019", "lock results", {}, answerLockResults},
    };
}
// clang-format on

} // namespace pdasim
