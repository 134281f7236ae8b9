#pragma once

#include "analysis/Transaction.h"

#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <stdexcept>
#include <string_view>

/// All transactions, in the columns of the protocol's table. The dispatcher and the exported members run from
/// these rows; what differs from the usual exchange is named in them.
namespace pdalink {

// FileTransfer.cpp
int sendFile(const Call& call);
int fetchFile(const Call& call);

// LockCommands.cpp
int requestOpening(const Call& call);
void appendLockLists(const Call& call, const Reply& reply);

// Exchange.cpp
/// Sends a message that the terminal does not answer.
int sendOnly(const Call& call);

// ResultStores.cpp
void keepScanRun(const Call& call, const Reply& reply);
void keepScanState(const Call& call, const Reply& reply);
void keepDotState(const Call& call, const Reply& reply);
void keepPowerState(const Call& call, const Reply& reply);

// clang-format off

/// What a handover tells of each of the parties that confirmed it.
inline constexpr ReplyField kParties[] = {
    {"Ex_ALogin",  "pALogin"}, {"Ex_AName",      "pAName"},     {"Ex_AFigData", "pAFigData"},
    {"Ex_ARnd",      "pARnd"}, {"Ex_APwd",        "pAPwd"}, {"Ex_AMacChkVal", "pAMacChkVal"},
    {"Ex_BLogin",  "pBLogin"}, {"Ex_BName",      "pBName"},     {"Ex_BFigData", "pBFigData"},
    {"Ex_BRnd",      "pBRnd"}, {"Ex_BPwd",        "pBPwd"}, {"Ex_BMacChkVal", "pBMacChkVal"},
    {"Ex_CLogin",  "pCLogin"}, {"Ex_CName",      "pCName"},     {"Ex_CFigData", "pCFigData"},
    {"Ex_CRnd",      "pCRnd"}, {"Ex_CPwd",        "pCPwd"}, {"Ex_CMacChkVal", "pCMacChkVal"},
};

/// The outputs of a handover's result: one of its own in front, the rest alike.
constexpr List<ReplyField, 23> handoverOutputs(const ReplyField& first) {
    List<ReplyField, 23> outputs{first, {"Ex_Time", "pTime"}, {"Ex_Label", "pLable"}, {"Ex_ErrLabel", "pErrLabel"}};
    for (const ReplyField& field : kParties) {
        outputs.append(field);
    }
    outputs.append({"Ex_State", "pScanState"});
    return outputs;
}

/// A command that the terminal relays to a lock. Has no code.
constexpr Transaction lockCommand(const char* member, const char* type, const char* begin, const char* sendLabel,
                                  std::initializer_list<const char*> inputTags,
                                  std::initializer_list<const char*> outputTags,
                                  std::initializer_list<const char*> listTags = {}) {
    List<RequestField, 12> inputs;
    for (const char* tag : inputTags) {
        inputs.append({nullptr, tag});
    }
    List<ReplyField, 23> outputs;
    for (const char* tag : outputTags) {
        outputs.append({tag, nullptr});
    }
    for (const char* tag : listTags) {
        outputs.append({tag, nullptr, Copy::ListedLocks});
    }
    return {member, nullptr, type, begin, sendLabel, Waits::Once, NoReply::WritesNothing, inputs, outputs};
}

// The keys are the interface, irregular ones included: pVender, pLable, BatchNb, CheckVal, pInfoEx and pInfEx.
inline constexpr Transaction kTransactions[] = {
    // The terminal.
    {"Init", "600001", "8002", "[Init] begin", "600001",
     Waits::Twice, NoReply::WritesNoData,
     {{"pdaNumber",    "Ex_PdaSn"},
      {"pFactory",     "Ex_Factory"}},
     {{"Ex_EIMI",      "pSN"},
      {"Ex_Vender",    "pVender"},
      {"Ex_RetCode",   "pRetCode"}}},

    Transaction{"GetInfo", "600002", "8001", "[GetInfo] begin", "600002",
     Waits::Once, NoReply::WritesNoData,
     {},
     {{"Ex_EIMI",      "pSN"},
      {"Ex_BleVer",    "pBleVersion"},
      {"Ex_PdaVer",    "pPDAVersion"},
      {"Ex_RetCode",   "pRetCode"}}}
        .with(&Transaction::lines, {"Xml1 Type:"}),

    // Bag labels and scanning.
    {"WriteBagNumber", "600003", "8003", "[WriteBagNumber] begin", "600003",
     Waits::Twice, NoReply::WritesNoData,
     {{"pBagNumber",   "Ex_Label"},
      {"pAttrOrg",     "Ex_OrgNm"},
      {"pBagType",     "Ex_BagType"}},
     {{"Ex_Tid",       "pTid"},
      {"Ex_RetCode",   "pRetCode"}}},

    Transaction{"StartScan", "600004", "8004", "[StartScan] begin", "600004",
     Waits::Once, NoReply::WritesNoData,
     {{"pdaNumber",    "Ex_PdaSn"},
      {"pCmdType",     "Ex_Cmd"}},
     {{"Ex_RetCode",   "pRetCode"}}}
        .with(&Transaction::keep, keepScanRun),

    Transaction{"GetScanLabelList", "600005", "8005", "[GetScanLabelList] begin", "600005",
     Waits::Once, NoReply::WritesNothing,
     {{"pdaNumber",    "Ex_PdaSn"}},
     {{"Ex_Label",     "pLabelList",          Copy::Characters},
      {"Ex_Label",     "pLabelSize",          Copy::LabelCount},
      {"Ex_Label",     "pLabelLen",           Copy::LabelStride},
      {"Ex_ScanState", "pScanState"}}}
        .with(&Transaction::keep, keepScanState),

    // Inventory.
    {"DownInvenData", "600006", "8006", "[DownInvenData] begin", "600006",
     Waits::Once, NoReply::WritesNoData,
     {{"pdaNumber",    "Ex_PdaSn"},
      {"pTaskID",      "Ex_TaskId"},
      {"pTotal",       "Ex_Total",            Form::Number},
      {"pLabelList",   "Ex_Label"}},
     {{"Ex_RetCode",   "pRetCode"}}},

    {"GetInventoryRet", "600007", "8007", "[GetInventoryRet] begin", "600007",
     Waits::Once, NoReply::WritesNothing,
     {{"pdaNumber",    "Ex_PdaSn"}},
     {{"Ex_TaskId",    "pTaskID",             Copy::Characters},
      {"Ex_Label",     "pLabelSize",          Copy::LabelCount},
      {"Ex_Label",     "pLabelList",          Copy::Characters},
      {"Ex_ErrLabel",  "pErrLabel",           Copy::Characters},
      {"Ex_Offline",   "pVerificationType",   Copy::Characters},
      {"Ex_Login",     "pLoginType",          Copy::Characters},
      {"Ex_Name",      "pUserName",           Copy::Characters},
      {"Ex_FigData",   "pFigData",            Copy::Characters},
      {"Ex_Rnd",       "pRnd",                Copy::Characters},
      {"Ex_Pwd",       "pUserPwd",            Copy::Characters},
      {"Ex_MacChkVal", "pMacChkVal",          Copy::Characters},
      {"Ex_InvenSta",  "pScanState",          Copy::Characters}}},

    // Handover. The state takes the part of the result code, "000060" without a reply included.
    Transaction{"SyncHandoverDotData", "600008", "8008", "Enter [SyncHandoverDotData]", "600008",
     Waits::Once, NoReply::WritesNoData,
     {{"pdaNumber",    "Ex_PdaSn"},
      {"pTaskID",      "Ex_TaskId"},
      {"pTaskType",    "Ex_TaskType",         Form::Number},
      {"pRoad",        "Ex_Road",             Form::Gbk},
      {"pExcgTime",    "Ex_ExcgTime"},
      {"pOrgNum",      "Ex_OrgNum"},
      {"pOrgNm",       "Ex_OrgNm",            Form::Gbk},
      {"pTotal",       "Ex_Total",            Form::Number},
      {"pLabel",       "Ex_Label"},
      {"pAName",       "Ex_UserA"},
      {"pBName",       "Ex_UserB"}},
     {{"Ex_RetCode",   "pRetCode"}}}
        .with(&Transaction::content, Content::Bytes),

    Transaction{"GetHandoverDotRet", "600009", "8009", "[GetHandoverDotRet] begin", nullptr,
     Waits::Twice, NoReply::WritesNoData,
     {{"pdaNumber",    "Ex_PdaSn"},
      {"pTaskID",      "Ex_TaskId"}},
     handoverOutputs({"Ex_Road", "pRoad"})}
        .with(&Transaction::keep, keepDotState),

    {"SyncHandoverPowerData", "600010", "8010", "[SyncHandoverPowerData] begin", "600010",
     Waits::Once, NoReply::WritesNoData,
     {{"pdaNumber",    "Ex_PdaSn"},
      {"pOrgNb",       "Ex_OrgNb"},
      {"pTime",        "Ex_Time"},
      {"pOrgNm",       "Ex_OrgNm"},
      {"pBatchNb",     "Ex_BatchNb"},
      {"pTaskID",      "Ex_TaskId"},
      {"pTotal",       "Ex_Total",            Form::Number},
      {"pLabel",       "Ex_Label"},
      {"pBagNumber",   nullptr}},
     {{"Ex_RetCode",   "pRetCode"}}},

    Transaction{"GetHandoverPowerRet", "600011", "8011", "[GetHandoverPowerRet] begin", "600011",
     Waits::Once, NoReply::WritesNothing,
     {{"pdaNumber",    "Ex_PdaSn"},
      {"pTaskID",      "Ex_TaskId"}},
     handoverOutputs({"Ex_BatchNb", "BatchNb"})}
        .with(&Transaction::keep, keepPowerState),

    // Keys.
    {"KeyInit", "600012", "8012", "[KeyInit] begin", "600012",
     Waits::Once, NoReply::WritesNoData,
     {{"pdaNumber",    "Ex_PdaSn"},
      {"pKey",         "Ex_Key"},
      {"CheckVal",     "Ex_CheckVal"}},
     {{"Ex_RetCode",   "pRetCode"}}},

    {"GetKeyVerificationValue", "600013", "8013", "[GetKeyVerificationValue] begin", "600013",
     Waits::Once, NoReply::WritesNoData,
     {{"pdaNumber",    "Ex_PdaSn"}},
     {{"Ex_CheckVal",  "pCheckVal"},
      {"Ex_RetCode",   "pRetCode"}}},

    {"UpdateWorkKey", "600014", "8014", "[UpdateWorkKey] begin", "600014",
     Waits::Once, NoReply::WritesNoData,
     {{"pdaNumber",    "Ex_PdaSn"},
      {"pEncKey",      "Ex_EncKey"},
      {"pMacKey",      "Ex_MacKey"},
      {"pEncChkVal",   "Ex_EncChkVal"},
      {"pMacChkVal",   "Ex_MacChkVal"}},
     {{"Ex_RetCode",   "pRetCode"}}},

    // Files, in packets. The packet's own tags come after those of the inputs.
    Transaction{"ReadFileDataToPDA", "600015", "8015", "[ReadFileDataToPDA] begin", "600015",
     Waits::Once, NoReply::WritesNoData,
     {{"pdaNumber",    "Ex_PdaSn"},
      {"pCmdEx",       "Ex_CmdEx",            Form::Number},
      {"pInfoEx",      "Ex_InfoEx"},
      {"pFilePath",    nullptr}}, // the file's text, cut into packets
     {{"Ex_RetCode",   "pRetCode"}}}
        .with(&Transaction::steps, sendFile),

    Transaction{"ReceiveDataSaveToFile", "600016", "8016", "[ReceiveDataSaveToFile] begin", "600016",
     Waits::Once, NoReply::WritesNothing,
     {{"pdaNumber",    "Ex_PdaSn"},
      {"pCmdEx",       "Ex_CmdEx",            Form::Number},
      {"pInfEx",       "Ex_InfEx"}},
     {{"Ex_HexVal",    "pFilePath"}, // the packets' texts, joined
      {"Ex_RetCode",   "pRetCode"}}}
        .with(&Transaction::steps, fetchFile),

    // Tellers: results of their own; the task flag stays up.
    Transaction{"PDA_GetRegisterUserData", "600017", "8017", "[PDA_GetRegisterUserData] begin", nullptr,
     Waits::Once, NoReply::WritesNoData,
     {{"pdaNumber",    "Ex_PdaSn"}},
     {{"Ex_TellerNo",  "pTellerNo",           Copy::TerminatedOnSuccess},
      {"Ex_RetCode",   "pRetCode",            Copy::Terminated}}}
        .with(&Transaction::results, kTellerResults)
        .with(&Transaction::lines, {"Xml Type:", "[get PDA register usr info]: ", "Read XML: time out "}),

    Transaction{"PDA_SendUserAuthenticationResult", "600018", "8018", "[PDA_SendUserAuthenticationResult] begin", nullptr,
     Waits::Once, NoReply::WritesNoData,
     {{"pdaNumber",    "Ex_PdaSn"},
      {"pAuthRet",     "Ex_Total",            Form::ItemCount},
      {"pAuthRet",     "Ex_AuthRet"}},
     {{"Ex_RetCode",   "pRetCode",            Copy::Terminated}}}
        .with(&Transaction::results, kTellerResults)
        .with(&Transaction::lines, {"Xml Type:", "[PDA_SendUserAuthenticationResult] ret: ", "Read XML time out:"}),

    Transaction{"PDA_EscortUserInfoSync", "600019", "8019", "[PDA_EscortUserInfoSync] begin", nullptr,
     Waits::Once, NoReply::WritesNoData,
     {{"pdaNumber",    "Ex_PdaSn"},
      {"pTellerNo",    "Ex_Total",            Form::ItemCount},
      {"pTellerNo",    "Ex_TellerNo"}},
     {{"Ex_RetCode",   "pRetCode",            Copy::Terminated}}}
        .with(&Transaction::results, kTellerResults)
        .with(&Transaction::lines, {"Xml Type:", "[PDA_EscortUserInfoSync] ret: ", "Read XML time out: "}),

    // Locks.
    lockCommand("SetBleMac", "7001", "[SetBleMac] begin", "SetBleMac",
                {"Ex_BleMac"},
                {"Ex_RetCode"}),
    lockCommand("GetLockList", "7011", "[GetLockList] begin", nullptr,
                {},
                {"Ex_SrcSeqNo", "Ex_RetCode", "Ex_LockNum"},
                {"Ex_LockId", "Ex_LockLabel", "Ex_LockStatus", "Ex_LockRssi"})
        .with(&Transaction::keep, appendLockLists),
    lockCommand("GetPublicKey", "7012", "[GetPublicKey] begin", nullptr,
                {"Ex_LockId"},
                {"Ex_SrcSeqNo", "Ex_RetCode", "Ex_LockId", "Ex_PublicKey", "Ex_FactorCDK"}),
    lockCommand("InitCDKKEV_CDKKCV", "7013", "[InitCDKKEV_CDKKCV] begin", nullptr,
                {"Ex_LockId", "Ex_InitCDKKFV", "Ex_InitCDKKEV", "Ex_InitCDKKCV"},
                {"Ex_SrcSeqNo", "Ex_RetCode", "Ex_LockId"}),
    // Asks for FV and CV, whatever the member is called.
    lockCommand("GetCDKKEV_CDKKCV", "7014", "[GetCDKKEV_CDKKCV] begin", nullptr,
                {"Ex_LockId"},
                {"Ex_SrcSeqNo", "Ex_RetCode", "Ex_LockId", "Ex_CurrentCDKKFV", "Ex_CurrentCDKKCV"}),
    lockCommand("updateCDKKEV", "7015", "[updateCDKKEV] begin", nullptr,
                {"Ex_LockId", "Ex_NewCDKKFV", "Ex_NewCDKKEV", "Ex_NewCDKKCV",
                 "Ex_NormalUnLockKFV", "Ex_NormalUnLockKEV", "Ex_NormalUnLockKCV",
                 "Ex_UrgentUnLockKFV", "Ex_UrgentUnLockKEV", "Ex_UrgentUnLockKCV",
                 "Ex_LockParams", "Ex_LockLabel"},
                {"Ex_SrcSeqNo", "Ex_RetCode", "Ex_LockId", "Ex_LockRnd"}),
    lockCommand("GetLockInfo", "7016", "[GetLockInfo] begin", nullptr,
                {"Ex_LockId"},
                {"Ex_SrcSeqNo", "Ex_RetCode", "Ex_LockId", "Ex_LockVer", "Ex_HSCVer", "Ex_LockParam",
                 "Ex_LockBoot", "Ex_LockAppCrc", "Ex_LockStatus", "Ex_LockRnd"}),
    // The number of locks, then what each is to do, which its steps put together from five lists.
    lockCommand("ReqOpenLock", "7018", "[ReqOpenLock] begin", nullptr,
                {"Ex_LockNum", nullptr, nullptr, nullptr, nullptr, nullptr},
                {"Ex_SrcSeqNo", "Ex_RetCode"})
        .with(&Transaction::steps, requestOpening),
    lockCommand("ReadLockRes", "7019", "[ReadLockRes] begin", nullptr,
                {},
                {"Ex_SrcSeqNo", "Ex_RetCode", "Ex_LockNum"},
                {"Ex_LockId", "Ex_Action", "Ex_Result", "Ex_UserA", "Ex_UserB", "Ex_LockRnd", "Ex_OpenTime", "Ex_Bat"})
        .with(&Transaction::keep, appendLockLists),

    // Answers a login; the terminal does not reply.
    Transaction{"SyncLoginResult", nullptr, "9002", nullptr, "SyncLoginResult",
     Waits::Once, NoReply::WritesNothing,
     {{nullptr,        "Ex_PdaSn"},
      {nullptr,        "Ex_RetCode"}},
     {}}
        .with(&Transaction::steps, sendOnly),
};

// clang-format on

/// The row of a member of CPDAXMLAnalysis.
constexpr std::size_t rowOf(std::string_view member) {
    for (std::size_t i = 0; i < std::size(kTransactions); ++i) {
        if (member == kTransactions[i].member) {
            return i;
        }
    }
    throw std::logic_error("no such transaction");
}

} // namespace pdalink
