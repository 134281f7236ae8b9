#include "analysis/TransactionTable.h"

#include "analysis/Transactions.h"

#include <algorithm>

namespace {

Member integer(const char* key) {
    return {key, Kind::Integer};
}

/// The outputs of a handover's result: one of its own in front, the rest alike.
std::vector<Member> handoverOutputs(const char* first) {
    return {first,       "pTime",  "pLable",    "pErrLabel",                         //
            "pALogin",   "pAName", "pAFigData", "pARnd",     "pAPwd", "pAMacChkVal", //
            "pBLogin",   "pBName", "pBFigData", "pBRnd",     "pBPwd", "pBMacChkVal", //
            "pCLogin",   "pCName", "pCFigData", "pCRnd",     "pCPwd", "pCMacChkVal", //
            "pScanState"};
}

// The keys are the interface, irregular ones included: pVender, pLable, BatchNb, CheckVal, pInfoEx and
// pInfEx.
const Row kRows[] = {
    {"600001", transactions::init, {"pdaNumber", "pFactory"}, {"pSN", "pVender", "pRetCode"}},
    {"600002", transactions::getInfo, {}, {"pSN", "pBleVersion", "pPDAVersion", "pRetCode"}},
    {"600003", transactions::writeBagNumber, {"pBagNumber", "pAttrOrg", "pBagType"}, {"pTid", "pRetCode"}},
    {"600004", transactions::startScan, {"pdaNumber", "pCmdType"}, {"pRetCode"}},
    {"600005",
     transactions::getScanLabelList,
     {"pdaNumber"},
     {"pLabelList", integer("pLabelSize"), integer("pLabelLen"), "pScanState"}},
    {"600006",
     transactions::downInvenData,
     {"pdaNumber", "pTaskID", integer("pTotal"), "pLabelList"},
     {"pRetCode"}},
    {"600007",
     transactions::getInventoryRet,
     {"pdaNumber"},
     {"pTaskID", integer("pLabelSize"), "pLabelList", "pErrLabel", "pVerificationType", "pLoginType",
      "pUserName", "pFigData", "pRnd", "pUserPwd", "pMacChkVal", "pScanState"}},
    {"600008",
     transactions::syncHandoverDotData,
     {"pdaNumber", "pTaskID", integer("pTaskType"), "pRoad", "pExcgTime", "pOrgNum", "pOrgNm",
      integer("pTotal"), "pLabel", "pAName", "pBName"},
     {"pRetCode"}},
    {"600009", transactions::getHandoverDotRet, {"pdaNumber", "pTaskID"}, handoverOutputs("pRoad")},
    {"600010",
     transactions::syncHandoverPowerData,
     {"pdaNumber", "pTaskID", "pOrgNb", "pTime", "pOrgNm", "pBatchNb", integer("pTotal"), "pLabel",
      "pBagNumber"},
     {"pRetCode"}},
    {"600011", transactions::getHandoverPowerRet, {"pdaNumber", "pTaskID"}, handoverOutputs("BatchNb")},
    {"600012", transactions::keyInit, {"pdaNumber", "pKey", "CheckVal"}, {"pRetCode"}},
    {"600013", transactions::getKeyVerificationValue, {"pdaNumber"}, {"pCheckVal", "pRetCode"}},
    {"600014",
     transactions::updateWorkKey,
     {"pdaNumber", "pEncKey", "pMacKey", "pEncChkVal", "pMacChkVal"},
     {"pRetCode"}},
    {"600015",
     transactions::readFileDataToPda,
     {"pdaNumber", integer("pCmdEx"), "pInfoEx", "pFilePath"},
     {"pRetCode"}},
    {"600016",
     transactions::receiveDataSaveToFile,
     {"pdaNumber", integer("pCmdEx"), "pInfEx"},
     {"pFilePath", "pRetCode"}},
    {"600017", transactions::getRegisterUserData, {"pdaNumber"}, {"pTellerNo", "pRetCode"}, kNotSent},
    {"600018", transactions::sendUserAuthenticationResult, {"pdaNumber", "pAuthRet"}, {"pRetCode"}, kNotSent},
    {"600019", transactions::escortUserInfoSync, {"pdaNumber", "pTellerNo"}, {"pRetCode"}, kNotSent},
};

} // namespace

const Row* findRow(const std::string& code) {
    const auto row = std::find_if(std::begin(kRows), std::end(kRows),
                                  [&code](const Row& each) { return code == each.code; });
    return row != std::end(kRows) ? row : nullptr;
}
