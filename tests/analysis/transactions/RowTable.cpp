#include "Row.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

namespace {

using Analysis = CPDAXMLAnalysis;
using Call = std::function<int(CPDAXMLAnalysis& analyser, Arguments& arguments)>;

const Family kTerminalFamily{0, 2, 1, 0};
const Family kTellerFamily{1, -1, -1, 1};
const Family kLockFamily{0, 2, 1, 0};

Row row(const char* type, const char* member, const Family& family, Call call, std::vector<Input> inputs,
        std::vector<Output> outputs) {
    Row made{member, "", type, &family, std::move(call), std::move(inputs), std::move(outputs)};
    made.begin = "[" + made.member + "] begin";
    return made;
}

/// With a code in JSON that ends as the type does. A result code, which is the last output, tells of a
/// missing reply.
Row terminalRow(const char* type, const char* member, Call call, std::vector<Input> inputs,
                std::vector<Output> outputs) {
    Row made = row(type, member, kTerminalFamily, std::move(call), std::move(inputs), std::move(outputs));
    made.code = "60" + std::string(type).replace(0, 1, "0");
    made.sendLabel = made.code;
    made.noData = made.outputs.back().tag == "Ex_RetCode" ? static_cast<int>(made.outputs.size()) - 1 : -1;
    return made;
}

Row tellerRow(const char* type, const char* member, const char* resultLine, const char* timeOutLine,
              Call call, std::vector<Input> inputs, std::vector<Output> outputs) {
    Row made = terminalRow(type, member, std::move(call), std::move(inputs), std::move(outputs));
    made.family = &kTellerFamily;
    made.sendLabel.clear();
    made.resultLine = resultLine;
    made.timeOutLine = timeOutLine;
    return made;
}

Row lockRow(const char* type, const char* member, Call call, std::vector<Input> inputs,
            std::vector<Output> outputs) {
    return row(type, member, kLockFamily, std::move(call), std::move(inputs), std::move(outputs));
}

Row with(Row row, void (*change)(Row&)) {
    change(row);
    return row;
}

// clang-format off
Output copied(const char* tag, const char* key, const char* sample) { return {tag, key, Kind::Copied, {sample}}; }
Output copied(const char* tag, const char* sample) { return copied(tag, "", sample); }
Output characters(const char* tag, const char* key, const char* sample) { return {tag, key, Kind::Characters, {sample}}; }
Output list(const char* tag, std::vector<std::string> samples) { return {tag, "", Kind::List, std::move(samples)}; }
Input lockInput(const char* tag, const char* sample) { return {"", tag, sample}; }

const Input kPda{"pdaNumber", "Ex_PdaSn", "00000007"};
const Output kRetCode = copied("Ex_RetCode", "pRetCode", "000000");

std::vector<Row> terminalRows() {
    return {
        with(terminalRow("8002", "Init", calling(&Analysis::Init),
            {{"pdaNumber", "Ex_PdaSn",   "00000007"},
             {"pFactory",  "Ex_Factory", "ACME"}},
            {copied("Ex_EIMI", "pSN", "860123456789012"), copied("Ex_Vender", "pVender", "vendor 3"), kRetCode}),
            [](Row& row) { row.waits = 2; row.code = "600001"; row.sendLabel = "600001"; }),
        with(terminalRow("8001", "GetInfo", calling(&Analysis::GetInfo),
            {},
            {copied("Ex_EIMI", "pSN", "860123456789012"), copied("Ex_BleVer", "pBleVersion", "ble 1"),
             copied("Ex_PdaVer", "pPDAVersion", "pda 2"), kRetCode}),
            [](Row& row) { row.code = "600002"; row.sendLabel = "600002"; row.typeLabel = "Xml1 Type:"; }),
    };
}

std::vector<Row> labelRows() {
    return {
        with(terminalRow("8003", "WriteBagNumber", calling(&Analysis::WriteBagNumber),
            {{"pBagNumber", "Ex_Label",   "BAG0000017"},
             {"pAttrOrg",   "Ex_OrgNm",   "Branch 12"},
             {"pBagType",   "Ex_BagType", "03"}},
            {copied("Ex_Tid", "pTid", "E2801160600002"), kRetCode}),
            [](Row& row) { row.waits = 2; }),
        terminalRow("8004", "StartScan", calling(&Analysis::StartScan),
            {kPda, {"pCmdType", "Ex_Cmd", "1"}},
            {kRetCode}),
        terminalRow("8005", "GetScanLabelList", calling(&Analysis::GetScanLabelList),
            {kPda},
            {characters("Ex_Label", "pLabelList", "L001;L002;L003"),
             {"Ex_Label", "pLabelSize", Kind::LabelCount, {}},
             {"Ex_Label", "pLabelLen", Kind::LabelStride, {}},
             copied("Ex_ScanState", "pScanState", "1")}),
    };
}

std::vector<Row> inventoryRows() {
    return {
        terminalRow("8006", "DownInvenData", calling(&Analysis::DownInvenData),
            {kPda,
             {"pTaskID",    "Ex_TaskId", "T-42"},
             {"pTotal",     "Ex_Total",  2},
             {"pLabelList", "Ex_Label",  "B01;B02;"}},
            {kRetCode}),
        terminalRow("8007", "GetInventoryRet", calling(&Analysis::GetInventoryRet),
            {kPda},
            {characters("Ex_TaskId",    "pTaskID",           "T-42"),
             {"Ex_Label", "pLabelSize", Kind::LabelCount, {}},
             characters("Ex_Label",     "pLabelList",        "B01;B02"),
             characters("Ex_ErrLabel",  "pErrLabel",         "B09"),
             characters("Ex_Offline",   "pVerificationType", "0"),
             characters("Ex_Login",     "pLoginType",        "2"),
             characters("Ex_Name",      "pUserName",         "user"),
             characters("Ex_FigData",   "pFigData",          "finger"),
             characters("Ex_Rnd",       "pRnd",              "random"),
             characters("Ex_Pwd",       "pUserPwd",          "password"),
             characters("Ex_MacChkVal", "pMacChkVal",        "mac"),
             characters("Ex_InvenSta",  "pScanState",        "1")}),
    };
}

/// What came of a handover: the outputs but the first are the same for both kinds.
std::vector<Output> handoverOutputs(const Output& first) {
    std::vector<Output> outputs{first,
                                copied("Ex_Time",     "pTime",     "20260506070809"),
                                copied("Ex_Label",    "pLable",    "H01;H02;"),
                                copied("Ex_ErrLabel", "pErrLabel", "H09;")};
    for (const std::string party : {"A", "B", "C"}) {
        for (const char* value : {"Login", "Name", "FigData", "Rnd", "Pwd", "MacChkVal"}) {
            outputs.push_back({"Ex_" + party + value, "p" + party + value, Kind::Copied, {party + "-" + value}});
        }
    }
    outputs.push_back(copied("Ex_State", "pScanState", "1"));
    return outputs;
}

std::vector<Row> handoverRows() {
    return {
        with(terminalRow("8008", "SyncHandoverDotData",
            calling<char*, char*, int*, char*, char*, char*, char*, int*, char*, char*, char*, char*>(
                &Analysis::SyncHandoverDotData),
            {kPda,
             {"pTaskID",   "Ex_TaskId",   "T-43"},
             {"pTaskType", "Ex_TaskType", 4},
             {"pRoad",     "Ex_Road",     "Route 66", Content::Gbk},
             {"pExcgTime", "Ex_ExcgTime", "20260102030405"},
             {"pOrgNum",   "Ex_OrgNum",   "0815"},
             {"pOrgNm",    "Ex_OrgNm",    "Main branch", Content::Gbk},
             {"pTotal",    "Ex_Total",    3},
             {"pLabel",    "Ex_Label",    "H01;H02;H03;"},
             {"pAName",    "Ex_UserA",    "Ann"},
             {"pBName",    "Ex_UserB",    "Bob"}},
            {kRetCode}),
            [](Row& row) { row.isBytes = true; row.begin = "Enter [SyncHandoverDotData]"; }),
        with(terminalRow("8009", "GetHandoverDotRet", calling(&Analysis::GetHandoverDotRet),
            {kPda, {"pTaskID", "Ex_TaskId", "T-43"}},
            handoverOutputs(copied("Ex_Road", "pRoad", "Route 66"))),
            [](Row& row) { row.waits = 2; row.noData = 22; row.sendLabel.clear(); }),
        with(terminalRow("8010", "SyncHandoverPowerData", calling(&Analysis::SyncHandoverPowerData),
            {kPda,
             {"pTaskID",    "Ex_TaskId",  "T-44"},
             {"pOrgNb",     "Ex_OrgNb",   "0816"},
             {"pTime",      "Ex_Time",    "20260203040506"},
             {"pOrgNm",     "Ex_OrgNm",   "Side branch"},
             {"pBatchNb",   "Ex_BatchNb", "N-5"},
             {"pTotal",     "Ex_Total",   2},
             {"pLabel",     "Ex_Label",   "P01;P02;"},
             {"pBagNumber", "",           "nobody sends this"}},
            {kRetCode}),
            [](Row& row) { row.order = {0, 2, 3, 4, 5, 1, 6, 7, 8}; }),
        terminalRow("8011", "GetHandoverPowerRet", calling(&Analysis::GetHandoverPowerRet),
            {kPda, {"pTaskID", "Ex_TaskId", "T-44"}},
            handoverOutputs(copied("Ex_BatchNb", "BatchNb", "N-5"))),
    };
}

std::vector<Row> keyRows() {
    return {
        terminalRow("8012", "KeyInit", calling(&Analysis::KeyInit),
            {kPda, {"pKey", "Ex_Key", "00112233445566778899"}, {"CheckVal", "Ex_CheckVal", "AABBCC"}},
            {kRetCode}),
        terminalRow("8013", "GetKeyVerificationValue", calling(&Analysis::GetKeyVerificationValue),
            {kPda},
            {copied("Ex_CheckVal", "pCheckVal", "AABBCC"), kRetCode}),
        terminalRow("8014", "UpdateWorkKey", calling(&Analysis::UpdateWorkKey),
            {kPda,
             {"pEncKey",    "Ex_EncKey",    "E0E1E2"},
             {"pMacKey",    "Ex_MacKey",    "A0A1A2"},
             {"pEncChkVal", "Ex_EncChkVal", "EC"},
             {"pMacChkVal", "Ex_MacChkVal", "AC"}},
            {kRetCode}),
    };
}

std::vector<Row> tellerRows() {
    const Output retCode{"Ex_RetCode", "pRetCode", Kind::Terminated, {"000000"}};
    return {
        tellerRow("8017", "PDA_GetRegisterUserData", "[get PDA register usr info]: ", "Read XML: time out ",
            calling(&Analysis::PDA_GetRegisterUserData),
            {kPda},
            {{"Ex_TellerNo", "pTellerNo", Kind::WithSuccess, {"9876"}}, retCode}),
        tellerRow("8018", "PDA_SendUserAuthenticationResult",
            "[PDA_SendUserAuthenticationResult] ret: ", "Read XML time out:",
            calling(&Analysis::PDA_SendUserAuthenticationResult),
            {kPda, {"pAuthRet", "Ex_AuthRet", "1001,1;1002,0;", Content::Counted}},
            {retCode}),
        tellerRow("8019", "PDA_EscortUserInfoSync", "[PDA_EscortUserInfoSync] ret: ", "Read XML time out: ",
            calling(&Analysis::PDA_EscortUserInfoSync),
            {kPda, {"pTellerNo", "Ex_TellerNo", "1001;1002;1003;", Content::Counted}},
            {retCode}),
    };
}

const Input kLock = lockInput("Ex_LockId", "lock-1");
const Output kSource = copied("Ex_SrcSeqNo", "0001");
const Output kLockRetCode = copied("Ex_RetCode", "000000");
const Output kLockId = copied("Ex_LockId", "lock-1");

std::vector<Row> lockRows() {
    return {
        with(lockRow("7001", "SetBleMac", calling(&Analysis::SetBleMac),
            {lockInput("Ex_BleMac", "01:23:45:67:89:AB")},
            {kLockRetCode}),
            [](Row& row) { row.sendLabel = "SetBleMac"; }),
        lockRow("7011", "GetLockList", calling(&Analysis::GetLockList),
            {},
            {kSource, kLockRetCode, copied("Ex_LockNum", "2"),
             list("Ex_LockId", {"lock-1", "lock-2"}), list("Ex_LockLabel", {"door", "gate"}),
             list("Ex_LockStatus", {"00", "01"}), list("Ex_LockRssi", {"-40", "-71"})}),
        lockRow("7016", "GetLockInfo", calling(&Analysis::GetLockInfo),
            {kLock},
            {kSource, kLockRetCode, kLockId, copied("Ex_LockVer", "V1.2"), copied("Ex_HSCVer", "C3"),
             copied("Ex_LockParam", "params"), copied("Ex_LockBoot", "boot 4"), copied("Ex_LockAppCrc", "31c3"),
             copied("Ex_LockStatus", "05"), copied("Ex_LockRnd", "rnd-6")}),
    };
}

std::vector<Row> lockKeyRows() {
    return {
        lockRow("7012", "GetPublicKey", calling(&Analysis::GetPublicKey),
            {kLock},
            {kSource, kLockRetCode, kLockId, copied("Ex_PublicKey", "04AABB"), copied("Ex_FactorCDK", "F7")}),
        lockRow("7013", "InitCDKKEV_CDKKCV", calling(&Analysis::InitCDKKEV_CDKKCV),
            {kLock, lockInput("Ex_InitCDKKFV", "fv"), lockInput("Ex_InitCDKKEV", "ev"),
             lockInput("Ex_InitCDKKCV", "cv")},
            {kSource, kLockRetCode, kLockId}),
        lockRow("7014", "GetCDKKEV_CDKKCV", calling(&Analysis::GetCDKKEV_CDKKCV),
            {kLock},
            {kSource, kLockRetCode, kLockId, copied("Ex_CurrentCDKKFV", "current fv"),
             copied("Ex_CurrentCDKKCV", "current cv")}),
        lockRow("7015", "updateCDKKEV", calling(&Analysis::updateCDKKEV),
            {kLock,
             lockInput("Ex_NewCDKKFV", "new fv"), lockInput("Ex_NewCDKKEV", "new ev"),
             lockInput("Ex_NewCDKKCV", "new cv"),
             lockInput("Ex_NormalUnLockKFV", "normal fv"), lockInput("Ex_NormalUnLockKEV", "normal ev"),
             lockInput("Ex_NormalUnLockKCV", "normal cv"),
             lockInput("Ex_UrgentUnLockKFV", "urgent fv"), lockInput("Ex_UrgentUnLockKEV", "urgent ev"),
             lockInput("Ex_UrgentUnLockKCV", "urgent cv"),
             lockInput("Ex_LockParams", "params"), lockInput("Ex_LockLabel", "label")},
            {kSource, kLockRetCode, kLockId, copied("Ex_LockRnd", "rnd-6")}),
    };
}

std::vector<Row> lockOpeningRows() {
    return {
        with(lockRow("7018", "ReqOpenLock", calling(&Analysis::ReqOpenLock),
            {lockInput("Ex_LockNum", "2"), lockInput("", "L1;L2;"), lockInput("", "00;01;"),
             lockInput("", "111111;222222;"), lockInput("", "a1;a2;"), lockInput("", "b1;b2;")},
            {kSource, kLockRetCode}),
            [](Row& row) {
                row.groups =
                    "<LockList><Ex_LockId>L1</Ex_LockId><Ex_Action>00</Ex_Action><Ex_OTCCode>111111</Ex_OTCCode>"
                    "<Ex_UserA>a1</Ex_UserA><Ex_UserB>b1</Ex_UserB></LockList>"
                    "<LockList><Ex_LockId>L2</Ex_LockId><Ex_Action>01</Ex_Action><Ex_OTCCode></Ex_OTCCode>"
                    "<Ex_UserA>a2</Ex_UserA><Ex_UserB>b2</Ex_UserB></LockList>";
            }),
        lockRow("7019", "ReadLockRes", calling(&Analysis::ReadLockRes),
            {},
            {kSource, kLockRetCode, copied("Ex_LockNum", "2"), list("Ex_LockId", {"L1", "L2"}),
             list("Ex_Action", {"00", "01"}), list("Ex_Result", {"0", "7"}), list("Ex_UserA", {"a1", "a2"}),
             list("Ex_UserB", {"b1", "b2"}), list("Ex_LockRnd", {"r1", "r2"}),
             list("Ex_OpenTime", {"20260102030405", "20260102030406"}), list("Ex_Bat", {"90", "15"})}),
    };
}

std::vector<Row> loginRows() {
    return {
        with(row("9002", "SyncLoginResult", kTerminalFamily, calling(&Analysis::SyncLoginResult),
            {kPda, {"", "Ex_RetCode", "000000"}},
            {}),
            [](Row& row) { row.waits = 0; row.begin.clear(); row.sendLabel = "SyncLoginResult"; }),
    };
}
// clang-format on

} // namespace

const std::vector<Row>& allRows() {
    static const std::vector<Row> rows = [] {
        std::vector<Row> all;
        for (const std::vector<Row>& family :
             {terminalRows(), labelRows(), inventoryRows(), handoverRows(), keyRows(), tellerRows(),
              lockRows(), lockKeyRows(), lockOpeningRows(), loginRows()}) {
            all.insert(all.end(), family.begin(), family.end());
        }
        return all;
    }();
    return rows;
}

const Row& rowOf(const std::string& member) {
    const auto found = std::find_if(allRows().begin(), allRows().end(),
                                    [&member](const Row& row) { return row.member == member; });
    if (found == allRows().end()) {
        throw std::invalid_argument(member);
    }
    return *found;
}

std::vector<Row> rowsThat(const std::function<bool(const Row&)>& condition) {
    std::vector<Row> rows;
    std::copy_if(allRows().begin(), allRows().end(), std::back_inserter(rows), condition);
    return rows;
}
