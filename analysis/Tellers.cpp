#include "analysis/Exchange.h"
#include "analysis/Lists.h"
#include "analysis/Transactions.h"

// These three have results of their own, and leave the task flag up whatever comes of them.

namespace {

constexpr int kAnswered = 1;
constexpr int kFailed = -1;

/// A transaction of this family, and the log lines that end it.
struct TellerTransaction {
    Transaction exchange;
    const char* resultLine;  ///< stands before the terminal's verdict
    const char* timeOutLine; ///< for want of a usable reply
};

const TellerTransaction kGetRegisterUserData{
    {"8017", "[PDA_GetRegisterUserData] begin", nullptr, {"Ex_PdaSn"}, {"Ex_TellerNo", "Ex_RetCode"}},
    "[get PDA register usr info]: ",
    "Read XML: time out ",
};

const TellerTransaction kSendUserAuthenticationResult{
    {"8018",
     "[PDA_SendUserAuthenticationResult] begin",
     nullptr,
     {"Ex_PdaSn", "Ex_Total", "Ex_AuthRet"},
     {"Ex_RetCode"}},
    "[PDA_SendUserAuthenticationResult] ret: ",
    "Read XML time out:",
};

const TellerTransaction kEscortUserInfoSync{
    {"8019",
     "[PDA_EscortUserInfoSync] begin",
     nullptr,
     {"Ex_PdaSn", "Ex_Total", "Ex_TellerNo"},
     {"Ex_RetCode"}},
    "[PDA_EscortUserInfoSync] ret: ",
    "Read XML time out: ",
};

/// Copies the outputs: the last one is the verdict, one before it only comes with success.
void copyOutputs(const Transaction& transaction, const Reply& reply, const Outputs& outputs) {
    const bool succeeded = reply.field("Ex_RetCode") == QLatin1String(kSuccess);
    const int last = outputs.texts.size() - 1;
    for (int i = succeeded ? 0 : last; i <= last; ++i) {
        const QString value = reply.field(transaction.replyTags[static_cast<std::size_t>(i)]);
        outputs.texts[i].copyTerminated(value.toUtf8());
    }
}

int converse(const TellerTransaction& transaction, const Inputs& inputs, const Outputs& outputs) {
    if (!sendRequest(transaction.exchange, inputs)) {
        return kFailed;
    }
    const std::optional<Reply> reply = receiveReply(transaction.exchange);
    if (!reply) {
        logMessage(transaction.timeOutLine);
        outputs.texts.back().copy(CS_ERROR_DEV_NODATA);
        return kFailed;
    }
    logMessage(transaction.resultLine + reply->field("Ex_RetCode").toStdString());
    copyOutputs(transaction.exchange, *reply, outputs);
    return kAnswered;
}

/// Sends a list with the number of its items.
int sendList(const TellerTransaction& transaction, const Inputs& inputs, const Outputs& outputs) {
    return guarded(
        [&] {
            logMessage(transaction.exchange.begin);
            const Input& list = inputs[1];
            const int count = static_cast<int>(splitItems(list.bytes()).size());
            return converse(transaction, {inputs[0], &count, list}, outputs);
        },
        [] { return kFailed; });
}

} // namespace

int transactions::getRegisterUserData(const Inputs& inputs, const Outputs& outputs) {
    return guarded(
        [&] {
            logMessage(kGetRegisterUserData.exchange.begin);
            return converse(kGetRegisterUserData, inputs, outputs);
        },
        [] { return kFailed; });
}

int transactions::sendUserAuthenticationResult(const Inputs& inputs, const Outputs& outputs) {
    return sendList(kSendUserAuthenticationResult, inputs, outputs);
}

int transactions::escortUserInfoSync(const Inputs& inputs, const Outputs& outputs) {
    return sendList(kEscortUserInfoSync, inputs, outputs);
}
