#include "analysis/TransactionTable.h"
#include "analysis/Transactions.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

// The table of what hosts send and get, written down a second time.

namespace {

/// A row as text: integers are marked "int".
struct Expected {
    const char* code;
    Run run;
    std::vector<std::string> inputs;
    std::vector<std::string> outputs;
    int failure;
};

const Expected kExpected[] = {
    {"600001", transactions::init, {"pdaNumber", "pFactory"}, {"pSN", "pVender", "pRetCode"}, 1},
    {"600002", transactions::getInfo, {}, {"pSN", "pBleVersion", "pPDAVersion", "pRetCode"}, 1},
    {"600003", transactions::writeBagNumber, {"pBagNumber", "pAttrOrg", "pBagType"}, {"pTid", "pRetCode"}, 1},
    {"600004", transactions::startScan, {"pdaNumber", "pCmdType"}, {"pRetCode"}, 1},
    {"600005",
     transactions::getScanLabelList,
     {"pdaNumber"},
     {"pLabelList", "int pLabelSize", "int pLabelLen", "pScanState"},
     1},
    {"600006",
     transactions::downInvenData,
     {"pdaNumber", "pTaskID", "int pTotal", "pLabelList"},
     {"pRetCode"},
     1},
    {"600007",
     transactions::getInventoryRet,
     {"pdaNumber"},
     {"pTaskID", "int pLabelSize", "pLabelList", "pErrLabel", "pVerificationType", "pLoginType", "pUserName",
      "pFigData", "pRnd", "pUserPwd", "pMacChkVal", "pScanState"},
     1},
    {"600008",
     transactions::syncHandoverDotData,
     {"pdaNumber", "pTaskID", "int pTaskType", "pRoad", "pExcgTime", "pOrgNum", "pOrgNm", "int pTotal",
      "pLabel", "pAName", "pBName"},
     {"pRetCode"},
     1},
    {"600009",
     transactions::getHandoverDotRet,
     {"pdaNumber", "pTaskID"},
     {"pRoad",     "pTime", "pLable", "pErrLabel",   "pALogin",   "pAName",
      "pAFigData", "pARnd", "pAPwd",  "pAMacChkVal", "pBLogin",   "pBName",
      "pBFigData", "pBRnd", "pBPwd",  "pBMacChkVal", "pCLogin",   "pCName",
      "pCFigData", "pCRnd", "pCPwd",  "pCMacChkVal", "pScanState"},
     1},
    {"600010",
     transactions::syncHandoverPowerData,
     {"pdaNumber", "pTaskID", "pOrgNb", "pTime", "pOrgNm", "pBatchNb", "int pTotal", "pLabel", "pBagNumber"},
     {"pRetCode"},
     1},
    {"600011",
     transactions::getHandoverPowerRet,
     {"pdaNumber", "pTaskID"},
     {"BatchNb",   "pTime", "pLable", "pErrLabel",   "pALogin",   "pAName",
      "pAFigData", "pARnd", "pAPwd",  "pAMacChkVal", "pBLogin",   "pBName",
      "pBFigData", "pBRnd", "pBPwd",  "pBMacChkVal", "pCLogin",   "pCName",
      "pCFigData", "pCRnd", "pCPwd",  "pCMacChkVal", "pScanState"},
     1},
    {"600012", transactions::keyInit, {"pdaNumber", "pKey", "CheckVal"}, {"pRetCode"}, 1},
    {"600013", transactions::getKeyVerificationValue, {"pdaNumber"}, {"pCheckVal", "pRetCode"}, 1},
    {"600014",
     transactions::updateWorkKey,
     {"pdaNumber", "pEncKey", "pMacKey", "pEncChkVal", "pMacChkVal"},
     {"pRetCode"},
     1},
    {"600015",
     transactions::readFileDataToPda,
     {"pdaNumber", "int pCmdEx", "pInfoEx", "pFilePath"},
     {"pRetCode"},
     1},
    {"600016",
     transactions::receiveDataSaveToFile,
     {"pdaNumber", "int pCmdEx", "pInfEx"},
     {"pFilePath", "pRetCode"},
     1},
    {"600017", transactions::getRegisterUserData, {"pdaNumber"}, {"pTellerNo", "pRetCode"}, -1},
    {"600018", transactions::sendUserAuthenticationResult, {"pdaNumber", "pAuthRet"}, {"pRetCode"}, -1},
    {"600019", transactions::escortUserInfoSync, {"pdaNumber", "pTellerNo"}, {"pRetCode"}, -1},
};

std::vector<std::string> texts(const std::vector<Member>& members) {
    std::vector<std::string> result;
    result.reserve(members.size());
    for (const Member& member : members) {
        result.push_back(std::string(member.kind == Kind::Integer ? "int " : "") + member.key);
    }
    return result;
}

TEST(TransactionTable, MatchesTheAgreedInterface) {
    for (const Expected& expected : kExpected) {
        const Row* const row = findRow(expected.code);
        ASSERT_NE(row, nullptr) << expected.code;
        EXPECT_STREQ(row->code, expected.code);
        EXPECT_EQ(row->run, expected.run) << expected.code;
        EXPECT_EQ(texts(row->inputs), expected.inputs) << expected.code;
        EXPECT_EQ(texts(row->outputs), expected.outputs) << expected.code;
        EXPECT_EQ(row->failure, expected.failure) << expected.code;
    }
}

TEST(TransactionTable, HoldsNoOtherCode) {
    for (int number = 600000; number <= 600030; ++number) {
        const std::string code = std::to_string(number);
        const bool expected = number >= 600001 && number <= 600019;
        EXPECT_EQ(findRow(code) != nullptr, expected) << code;
    }
    for (const char* code : {"", "6", "60000", "6000010", "600001 ", "700001"}) {
        EXPECT_EQ(findRow(code), nullptr) << code;
    }
}

} // namespace
