#include "Row.h"

namespace {

OutputParameter copied(const char* key, const char* tag, const char* sample) {
    return {key, Kind::Copied, tag, {sample}};
}

OutputParameter byCharacters(const char* key, const char* tag, const char* sample) {
    return {key, Kind::Characters, tag, {sample}};
}

std::vector<Row> labelRows() {
    return {
        {"WriteBagNumber",
         "600003",
         "8003",
         "[WriteBagNumber] begin",
         "600003",
         &kTerminalFamily,
         2,
         1,
         {{"pBagNumber", "BAG0000017"}, {"pAttrOrg", "Branch 12"}, {"pBagType", "03"}},
         {{"Ex_Label", 0}, {"Ex_OrgNm", 1}, {"Ex_BagType", 2}},
         {copied("pTid", "Ex_Tid", "E2801160600002"), copied("pRetCode", "Ex_RetCode", "000000")},
         [](CPDAXMLAnalysis& analyser, Arguments& x) {
             return analyser.WriteBagNumber(x.text(0), x.text(1), x.text(2), x.output(0), x.output(1));
         }},
        {"StartScan",
         "600004",
         "8004",
         "[StartScan] begin",
         "600004",
         &kTerminalFamily,
         1,
         0,
         {{"pdaNumber", "00000007"}, {"pCmdType", "1"}},
         {{"Ex_PdaSn", 0}, {"Ex_Cmd", 1}},
         {copied("pRetCode", "Ex_RetCode", "000000")},
         [](CPDAXMLAnalysis& analyser, Arguments& x) {
             return analyser.StartScan(x.text(0), x.text(1), x.output(0));
         }},
        {"GetScanLabelList",
         "600005",
         "8005",
         "[GetScanLabelList] begin",
         "600005",
         &kTerminalFamily,
         1,
         -1,
         {{"pdaNumber", "00000007"}},
         {{"Ex_PdaSn", 0}},
         {byCharacters("pLabelList", "Ex_Label", "L001;L002;L003"),
          {"pLabelSize", Kind::LabelCount, "Ex_Label", {}},
          {"pLabelLen", Kind::LabelStride, "Ex_Label", {}},
          copied("pScanState", "Ex_ScanState", "1")},
         [](CPDAXMLAnalysis& analyser, Arguments& x) {
             return analyser.GetScanLabelList(x.text(0), x.output(0), x.outputNumber(1), x.outputNumber(2),
                                              x.output(3));
         }},
    };
}

std::vector<Row> inventoryRows() {
    return {
        {"DownInvenData",
         "600006",
         "8006",
         "[DownInvenData] begin",
         "600006",
         &kTerminalFamily,
         1,
         0,
         {{"pdaNumber", "00000007"}, {"pTaskID", "T-42"}, {"pTotal", 2}, {"pLabelList", "B01;B02;"}},
         {{"Ex_PdaSn", 0}, {"Ex_TaskId", 1}, {"Ex_Total", 2}, {"Ex_Label", 3}},
         {copied("pRetCode", "Ex_RetCode", "000000")},
         [](CPDAXMLAnalysis& analyser, Arguments& x) {
             return analyser.DownInvenData(x.text(0), x.text(1), x.number(2), x.text(3), x.output(0));
         }},
        {"GetInventoryRet",
         "600007",
         "8007",
         "[GetInventoryRet] begin",
         "600007",
         &kTerminalFamily,
         1,
         -1,
         {{"pdaNumber", "00000007"}},
         {{"Ex_PdaSn", 0}},
         {byCharacters("pTaskID", "Ex_TaskId", "T-42"),
          {"pLabelSize", Kind::LabelCount, "Ex_Label", {}},
          byCharacters("pLabelList", "Ex_Label", "B01;B02"),
          byCharacters("pErrLabel", "Ex_ErrLabel", "B09"),
          byCharacters("pVerificationType", "Ex_Offline", "0"),
          byCharacters("pLoginType", "Ex_Login", "2"),
          byCharacters("pUserName", "Ex_Name", "user"),
          byCharacters("pFigData", "Ex_FigData", "finger"),
          byCharacters("pRnd", "Ex_Rnd", "random"),
          byCharacters("pUserPwd", "Ex_Pwd", "password"),
          byCharacters("pMacChkVal", "Ex_MacChkVal", "mac"),
          byCharacters("pScanState", "Ex_InvenSta", "1")},
         [](CPDAXMLAnalysis& analyser, Arguments& x) {
             return analyser.GetInventoryRet(x.text(0), x.output(0), x.outputNumber(1), x.output(2),
                                             x.output(3), x.output(4), x.output(5), x.output(6), x.output(7),
                                             x.output(8), x.output(9), x.output(10), x.output(11));
         }},
    };
}

std::vector<Row> dotHandoverRows() {
    return {
        {"SyncHandoverDotData",
         "600008",
         "8008",
         "Enter [SyncHandoverDotData]",
         "600008",
         &kTerminalFamily,
         1,
         0,
         {{"pdaNumber", "00000007"},
          {"pTaskID", "T-43"},
          {"pTaskType", 4},
          {"pRoad", "Route 66"},
          {"pExcgTime", "20260102030405"},
          {"pOrgNum", "0815"},
          {"pOrgNm", "Main branch"},
          {"pTotal", 3},
          {"pLabel", "H01;H02;H03;"},
          {"pAName", "Ann"},
          {"pBName", "Bob"}},
         {{"Ex_PdaSn", 0},
          {"Ex_TaskId", 1},
          {"Ex_TaskType", 2},
          {"Ex_Road", 3, Content::Gbk},
          {"Ex_ExcgTime", 4},
          {"Ex_OrgNum", 5},
          {"Ex_OrgNm", 6, Content::Gbk},
          {"Ex_Total", 7},
          {"Ex_Label", 8},
          {"Ex_UserA", 9},
          {"Ex_UserB", 10}},
         {copied("pRetCode", "Ex_RetCode", "000000")},
         [](CPDAXMLAnalysis& analyser, Arguments& x) {
             return analyser.SyncHandoverDotData(x.text(0), x.text(1), x.number(2), x.text(3), x.text(4),
                                                 x.text(5), x.text(6), x.number(7), x.text(8), x.text(9),
                                                 x.text(10), x.output(0));
         },
         "",
         true},
        {"GetHandoverDotRet",
         "600009",
         "8009",
         "[GetHandoverDotRet] begin",
         nullptr,
         &kTerminalFamily,
         2,
         22,
         {{"pdaNumber", "00000007"}, {"pTaskID", "T-43"}},
         {{"Ex_PdaSn", 0}, {"Ex_TaskId", 1}},
         {copied("pRoad", "Ex_Road", "Route 66"),         copied("pTime", "Ex_Time", "20260506070809"),
          copied("pLable", "Ex_Label", "H01;H02;"),       copied("pErrLabel", "Ex_ErrLabel", "H09;"),
          copied("pALogin", "Ex_ALogin", "A-login"),      copied("pAName", "Ex_AName", "A-name"),
          copied("pAFigData", "Ex_AFigData", "A-finger"), copied("pARnd", "Ex_ARnd", "A-random"),
          copied("pAPwd", "Ex_APwd", "A-password"),       copied("pAMacChkVal", "Ex_AMacChkVal", "A-mac"),
          copied("pBLogin", "Ex_BLogin", "B-login"),      copied("pBName", "Ex_BName", "B-name"),
          copied("pBFigData", "Ex_BFigData", "B-finger"), copied("pBRnd", "Ex_BRnd", "B-random"),
          copied("pBPwd", "Ex_BPwd", "B-password"),       copied("pBMacChkVal", "Ex_BMacChkVal", "B-mac"),
          copied("pCLogin", "Ex_CLogin", "C-login"),      copied("pCName", "Ex_CName", "C-name"),
          copied("pCFigData", "Ex_CFigData", "C-finger"), copied("pCRnd", "Ex_CRnd", "C-random"),
          copied("pCPwd", "Ex_CPwd", "C-password"),       copied("pCMacChkVal", "Ex_CMacChkVal", "C-mac"),
          copied("pScanState", "Ex_State", "1")},
         [](CPDAXMLAnalysis& analyser, Arguments& x) {
             return analyser.GetHandoverDotRet(
                 x.text(0), x.text(1), x.output(0), x.output(1), x.output(2), x.output(3), x.output(4),
                 x.output(5), x.output(6), x.output(7), x.output(8), x.output(9), x.output(10), x.output(11),
                 x.output(12), x.output(13), x.output(14), x.output(15), x.output(16), x.output(17),
                 x.output(18), x.output(19), x.output(20), x.output(21), x.output(22));
         }},
    };
}

std::vector<Row> powerHandoverRows() {
    return {
        {"SyncHandoverPowerData",
         "600010",
         "8010",
         "[SyncHandoverPowerData] begin",
         "600010",
         &kTerminalFamily,
         1,
         0,
         {{"pdaNumber", "00000007"},
          {"pTaskID", "T-44"},
          {"pOrgNb", "0816"},
          {"pTime", "20260203040506"},
          {"pOrgNm", "Side branch"},
          {"pBatchNb", "N-5"},
          {"pTotal", 2},
          {"pLabel", "P01;P02;"},
          {"pBagNumber", "nobody sends this"}},
         {{"Ex_PdaSn", 0},
          {"Ex_OrgNb", 2},
          {"Ex_Time", 3},
          {"Ex_OrgNm", 4},
          {"Ex_BatchNb", 5},
          {"Ex_TaskId", 1},
          {"Ex_Total", 6},
          {"Ex_Label", 7}},
         {copied("pRetCode", "Ex_RetCode", "000000")},
         [](CPDAXMLAnalysis& analyser, Arguments& x) {
             return analyser.SyncHandoverPowerData(x.text(0), x.text(1), x.text(2), x.text(3), x.text(4),
                                                   x.text(5), x.number(6), x.text(7), x.text(8), x.output(0));
         }},
        {"GetHandoverPowerRet",
         "600011",
         "8011",
         "[GetHandoverPowerRet] begin",
         "600011",
         &kTerminalFamily,
         1,
         -1,
         {{"pdaNumber", "00000007"}, {"pTaskID", "T-44"}},
         {{"Ex_PdaSn", 0}, {"Ex_TaskId", 1}},
         {copied("BatchNb", "Ex_BatchNb", "N-5"),         copied("pTime", "Ex_Time", "20260506070809"),
          copied("pLable", "Ex_Label", "H01;H02;"),       copied("pErrLabel", "Ex_ErrLabel", "H09;"),
          copied("pALogin", "Ex_ALogin", "A-login"),      copied("pAName", "Ex_AName", "A-name"),
          copied("pAFigData", "Ex_AFigData", "A-finger"), copied("pARnd", "Ex_ARnd", "A-random"),
          copied("pAPwd", "Ex_APwd", "A-password"),       copied("pAMacChkVal", "Ex_AMacChkVal", "A-mac"),
          copied("pBLogin", "Ex_BLogin", "B-login"),      copied("pBName", "Ex_BName", "B-name"),
          copied("pBFigData", "Ex_BFigData", "B-finger"), copied("pBRnd", "Ex_BRnd", "B-random"),
          copied("pBPwd", "Ex_BPwd", "B-password"),       copied("pBMacChkVal", "Ex_BMacChkVal", "B-mac"),
          copied("pCLogin", "Ex_CLogin", "C-login"),      copied("pCName", "Ex_CName", "C-name"),
          copied("pCFigData", "Ex_CFigData", "C-finger"), copied("pCRnd", "Ex_CRnd", "C-random"),
          copied("pCPwd", "Ex_CPwd", "C-password"),       copied("pCMacChkVal", "Ex_CMacChkVal", "C-mac"),
          copied("pScanState", "Ex_State", "1")},
         [](CPDAXMLAnalysis& analyser, Arguments& x) {
             return analyser.GetHandoverPowerRet(
                 x.text(0), x.text(1), x.output(0), x.output(1), x.output(2), x.output(3), x.output(4),
                 x.output(5), x.output(6), x.output(7), x.output(8), x.output(9), x.output(10), x.output(11),
                 x.output(12), x.output(13), x.output(14), x.output(15), x.output(16), x.output(17),
                 x.output(18), x.output(19), x.output(20), x.output(21), x.output(22));
         }},
    };
}

std::vector<Row> keyRows() {
    return {
        {"KeyInit",
         "600012",
         "8012",
         "[KeyInit] begin",
         "600012",
         &kTerminalFamily,
         1,
         0,
         {{"pdaNumber", "00000007"}, {"pKey", "00112233445566778899"}, {"CheckVal", "AABBCC"}},
         {{"Ex_PdaSn", 0}, {"Ex_Key", 1}, {"Ex_CheckVal", 2}},
         {copied("pRetCode", "Ex_RetCode", "000000")},
         [](CPDAXMLAnalysis& analyser, Arguments& x) {
             return analyser.KeyInit(x.text(0), x.text(1), x.text(2), x.output(0));
         }},
        {"GetKeyVerificationValue",
         "600013",
         "8013",
         "[GetKeyVerificationValue] begin",
         "600013",
         &kTerminalFamily,
         1,
         1,
         {{"pdaNumber", "00000007"}},
         {{"Ex_PdaSn", 0}},
         {copied("pCheckVal", "Ex_CheckVal", "AABBCC"), copied("pRetCode", "Ex_RetCode", "000000")},
         [](CPDAXMLAnalysis& analyser, Arguments& x) {
             return analyser.GetKeyVerificationValue(x.text(0), x.output(0), x.output(1));
         }},
        {"UpdateWorkKey",
         "600014",
         "8014",
         "[UpdateWorkKey] begin",
         "600014",
         &kTerminalFamily,
         1,
         0,
         {{"pdaNumber", "00000007"},
          {"pEncKey", "E0E1E2"},
          {"pMacKey", "A0A1A2"},
          {"pEncChkVal", "EC"},
          {"pMacChkVal", "AC"}},
         {{"Ex_PdaSn", 0}, {"Ex_EncKey", 1}, {"Ex_MacKey", 2}, {"Ex_EncChkVal", 3}, {"Ex_MacChkVal", 4}},
         {copied("pRetCode", "Ex_RetCode", "000000")},
         [](CPDAXMLAnalysis& analyser, Arguments& x) {
             return analyser.UpdateWorkKey(x.text(0), x.text(1), x.text(2), x.text(3), x.text(4),
                                           x.output(0));
         }},
    };
}

} // namespace

std::vector<Row> terminalRows() {
    std::vector<Row> rows;
    for (const std::vector<Row>& family :
         {labelRows(), inventoryRows(), dotHandoverRows(), powerHandoverRows(), keyRows()}) {
        rows.insert(rows.end(), family.begin(), family.end());
    }
    return rows;
}
