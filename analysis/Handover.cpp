#include "analysis/Exchange.h"
#include "analysis/Transactions.h"

namespace {

const Transaction kSyncHandoverDotData{
    "8008",
    "Enter [SyncHandoverDotData]",
    "600008",
    {"Ex_PdaSn",
     "Ex_TaskId",
     "Ex_TaskType",
     {"Ex_Road", Encoding::Gbk},
     "Ex_ExcgTime",
     "Ex_OrgNum",
     {"Ex_OrgNm", Encoding::Gbk},
     "Ex_Total",
     "Ex_Label",
     "Ex_UserA",
     "Ex_UserB"},
    {"Ex_RetCode"},
    Waits::Once,
    NoData::IntoLastText,
    "Xml Type:",
    Content::Bytes,
};

const Transaction kSyncHandoverPowerData{
    "8010",
    "[SyncHandoverPowerData] begin",
    "600010",
    {"Ex_PdaSn", "Ex_OrgNb", "Ex_Time", "Ex_OrgNm", "Ex_BatchNb", "Ex_TaskId", "Ex_Total", "Ex_Label"},
    {"Ex_RetCode"},
};

/// The reply tags of a handover's result: one of its own in front, the rest alike.
std::vector<const char*> resultTags(const char* first) {
    return {first,       "Ex_Time",  "Ex_Label",    "Ex_ErrLabel",                             //
            "Ex_ALogin", "Ex_AName", "Ex_AFigData", "Ex_ARnd",     "Ex_APwd", "Ex_AMacChkVal", //
            "Ex_BLogin", "Ex_BName", "Ex_BFigData", "Ex_BRnd",     "Ex_BPwd", "Ex_BMacChkVal", //
            "Ex_CLogin", "Ex_CName", "Ex_CFigData", "Ex_CRnd",     "Ex_CPwd", "Ex_CMacChkVal", //
            "Ex_State"};
}

// The state takes the part of the result code, "000060" without a reply included.
const Transaction kGetHandoverDotRet{
    "8009",       "[GetHandoverDotRet] begin", nullptr, {"Ex_PdaSn", "Ex_TaskId"}, resultTags("Ex_Road"),
    Waits::Twice,
};

const Transaction kGetHandoverPowerRet{
    "8011",
    "[GetHandoverPowerRet] begin",
    "600011",
    {"Ex_PdaSn", "Ex_TaskId"},
    resultTags("Ex_BatchNb"),
    Waits::Once,
    NoData::Nothing,
};

int queryResult(const Transaction& transaction, const Inputs& inputs, const Outputs& outputs,
                bool& isFinished) {
    return exchange(transaction, inputs, outputs, [&](const Reply& reply) {
        copyFields(transaction, reply, outputs);
        isFinished = reply.field("Ex_State") != QLatin1String("0");
    });
}

} // namespace

int transactions::syncHandoverDotData(const Inputs& inputs, const Outputs& outputs) {
    return exchange(kSyncHandoverDotData, inputs, outputs);
}

int transactions::syncHandoverDotDataOfUsers() {
    return guarded(
        [] {
            logMessage("[SyncHandoverDotData1] begin");
            return kReplied;
        },
        [] { return kReplied; });
}

int transactions::getHandoverDotRet(const Inputs& inputs, const Outputs& outputs) {
    return queryResult(kGetHandoverDotRet, inputs, outputs, pda_HandoverDotState);
}

int transactions::syncHandoverPowerData(const Inputs& inputs, const Outputs& outputs) {
    const Input& taskId = inputs[1];
    // Sent behind the batch's values, and the last parameter not at all.
    return exchange(kSyncHandoverPowerData,
                    {inputs[0], inputs[2], inputs[3], inputs[4], inputs[5], taskId, inputs[6], inputs[7]},
                    outputs);
}

int transactions::getHandoverPowerRet(const Inputs& inputs, const Outputs& outputs) {
    return queryResult(kGetHandoverPowerRet, inputs, outputs, pda_HandoverPowerState);
}
