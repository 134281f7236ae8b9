#include "Transactions.h"

#include <algorithm>
#include <array>

namespace pdactl {

namespace {

constexpr const char* kLabels = "labels, each followed by \";\"";

const Parameter kPda{"pdaNumber", "Ex_PdaSn", "pda", "the terminal's number", Kind::Text, kPresetPda};
const Parameter kTask{"pTaskID", "Ex_TaskId", "task", "the task's id"};
const Parameter kTotal{"pTotal", "Ex_Total", "total", "how many labels there are", Kind::Total};
const Parameter kLock{"lockId", "Ex_LockId", "lock", "the lock's id"};

Parameter scanCommand(const char* help, const char* preset) {
    return {"pCmdType", "Ex_Cmd", "command", help, Kind::Text, preset};
}

Parameter secret(const char* name, const char* tag, const char* option, const char* help) {
    return {name, tag, option, help, Kind::Secret};
}

/// The outputs of a handover's result: one of its own in front, the rest alike.
std::vector<const char*> handoverOutputs(const char* first) {
    return {first,       "pTime",  "pLable",    "pErrLabel",                         //
            "pALogin",   "pAName", "pAFigData", "pARnd",     "pAPwd", "pAMacChkVal", //
            "pBLogin",   "pBName", "pBFigData", "pBRnd",     "pBPwd", "pBMacChkVal", //
            "pCLogin",   "pCName", "pCFigData", "pCRnd",     "pCPwd", "pCMacChkVal", //
            "pScanState"};
}

/// The fields of a handover that the terminal starts.
std::vector<const char*> handoverFields(const char* second) {
    return {"pdaSn",  second,  "time",     "labelCount", "errLabels",               //
            "aLogin", "aName", "aFigData", "aRnd",       "aPwd",      "aMacChkVal", //
            "bLogin", "bName", "bFigData", "bRnd",       "bPwd",      "bMacChkVal", //
            "cLogin", "cName", "cFigData", "cRnd",       "cPwd",      "cMacChkVal"};
}

// clang-format off

const std::vector<Transaction> kRequests{
    {"600001", "8002", "Init", {"init"}, "Tell the terminal its number and the factory code",
     "--factory F1",
     {kPda, {"pFactory", "Ex_Factory", "factory", "the factory code", Kind::Needed}},
     {"pSN", "pVender", "pRetCode"}},
    {"600002", "8001", "GetInfo", {"info"}, "Ask the terminal who it is", "",
     {},
     {"pSN", "pBleVersion", "pPDAVersion", "pRetCode"}},
    {"600003", "8003", "WriteBagNumber", {"bag", "write"}, "Write a bag's label",
     "--number B0001 --org 1001 --type 1",
     {{"pBagNumber", "Ex_Label", "number", "the bag's number"},
      {"pAttrOrg", "Ex_OrgNm", "org", "the organisation that it belongs to"},
      {"pBagType", "Ex_BagType", "type", "the kind of bag"}},
     {"pTid", "pRetCode"}},
    {"600004", "8004", "StartScan", {"scan", "start"}, "Start a scan run", "",
     {kPda, scanCommand("what the terminal takes as the command to start", "1")},
     {"pRetCode"}},
    {"600004", "8004", "StartScan", {"scan", "stop"}, "Stop the scan run", "",
     {kPda, scanCommand("what the terminal takes as the command to stop", "0")},
     {"pRetCode"}},
    {"600005", "8005", "GetScanLabelList", {"scan", "list"}, "Show the labels scanned so far", "",
     {kPda},
     {"pLabelList", "pLabelSize", "pLabelLen", "pScanState"}},
    {"600006", "8006", "DownInvenData", {"inventory", "send"}, "Send an inventory task",
     "--task T1 --total 2 --labels 'B1;B2;'",
     {kPda, kTask, kTotal, {"pLabelList", "Ex_Label", "labels", kLabels}},
     {"pRetCode"}},
    {"600007", "8007", "GetInventoryRet", {"inventory", "result"}, "Ask what came of the inventory", "",
     {kPda},
     {"pTaskID", "pLabelSize", "pLabelList", "pErrLabel", "pVerificationType", "pLoginType", "pUserName",
      "pFigData", "pRnd", "pUserPwd", "pMacChkVal", "pScanState"}},
    {"600008", "8008", "SyncHandoverDotData", {"handover", "dot", "send"},
     "Send a handover at a service point",
     "--task T1 --type 1 --route R1 --time 20260102153000 --org 1001 --org-name Centre --total 1 "
     "--labels 'B1;' --user-a anna --user-b ben",
     {kPda, kTask,
      {"pTaskType", "Ex_TaskType", "type", "the kind of task", Kind::Integer},
      {"pRoad", "Ex_Road", "route", "the route", Kind::Gbk},
      {"pExcgTime", "Ex_ExcgTime", "time", "when it takes place"},
      {"pOrgNum", "Ex_OrgNum", "org", "the organisation's number"},
      {"pOrgNm", "Ex_OrgNm", "org-name", "the organisation's name", Kind::Gbk},
      kTotal, {"pLabel", "Ex_Label", "labels", kLabels},
      {"pAName", "Ex_UserA", "user-a", "the user who hands over", Kind::Needed},
      {"pBName", "Ex_UserB", "user-b", "the user who takes over", Kind::Needed}},
     {"pRetCode"}},
    {"600009", "8009", "GetHandoverDotRet", {"handover", "dot", "result"},
     "Ask what came of a handover at a service point",
     "--task T1",
     {kPda, kTask},
     handoverOutputs("pRoad")},
    {"600010", "8010", "SyncHandoverPowerData", {"handover", "power", "send"},
     "Send a handover between organisations",
     "--task T1 --org 1001 --time 20260102153000 --org-name Centre --batch N1 --total 1 --labels 'B1;'",
     {kPda,
      {"pOrgNb", "Ex_OrgNb", "org", "the organisation's number"},
      {"pTime", "Ex_Time", "time", "when it takes place"},
      {"pOrgNm", "Ex_OrgNm", "org-name", "the organisation's name"},
      {"pBatchNb", "Ex_BatchNb", "batch", "the batch's number"},
      kTask, kTotal, {"pLabel", "Ex_Label", "labels", kLabels},
      {"pBagNumber", nullptr, "bag", "not sent to the terminal", Kind::NotSent, ""}},
     {"pRetCode"}},
    {"600011", "8011", "GetHandoverPowerRet", {"handover", "power", "result"},
     "Ask what came of a handover between organisations",
     "--task T1",
     {kPda, kTask},
     handoverOutputs("BatchNb")},
    {"600012", "8012", "KeyInit", {"key", "init"}, "Load a key",
     "--key @key.txt --check-value @check.txt",
     {kPda, secret("pKey", "Ex_Key", "key", "the key"),
      secret("CheckVal", "Ex_CheckVal", "check-value", "its check value")},
     {"pRetCode"}},
    {"600013", "8013", "GetKeyVerificationValue", {"key", "check"}, "Ask for the key's check value", "",
     {kPda},
     {"pCheckVal", "pRetCode"}},
    {"600014", "8014", "UpdateWorkKey", {"key", "update"}, "Replace the working keys",
     "--enc-key @enc.txt --mac-key @mac.txt --enc-check-value @enc-check.txt "
     "--mac-check-value @mac-check.txt",
     {kPda, secret("pEncKey", "Ex_EncKey", "enc-key", "the key to encipher with"),
      secret("pMacKey", "Ex_MacKey", "mac-key", "the key to sign with"),
      secret("pEncChkVal", "Ex_EncChkVal", "enc-check-value", "its check value"),
      secret("pMacChkVal", "Ex_MacChkVal", "mac-check-value", "its check value")},
     {"pRetCode"}},
    {"600015", "8015", "ReadFileDataToPDA", {}, "Send a file, as hexadecimal digits", "",
     {kPda, {"pCmdEx", "Ex_CmdEx", "command", "the command's number", Kind::Integer},
      {"pInfoEx", "Ex_InfoEx", "info", "free text"},
      {"pFilePath", "Ex_HexVal", "data", "the file as hexadecimal digits", Kind::FileText}},
     {"pRetCode"}, Results::Send},
    {"600016", "8016", "ReceiveDataSaveToFile", {}, "Fetch a file, as hexadecimal digits", "",
     {kPda, {"pCmdEx", "Ex_CmdEx", "command", "the command's number", Kind::Integer},
      {"pInfEx", "Ex_InfEx", "info", "free text"}},
     {"pFilePath", "pRetCode"}, Results::Fetch},
    {"600017", "8017", "PDA_GetRegisterUserData", {"teller", "registered"},
     "Ask which teller registered at the terminal", "",
     {kPda},
     {"pTellerNo", "pRetCode"}, Results::Teller},
    {"600018", "8018", "PDA_SendUserAuthenticationResult", {"teller", "authenticated"},
     "Report users' authentication", "--results '000000;'",
     {kPda, {"pAuthRet", "Ex_AuthRet", "results", "results, each followed by \";\"", Kind::Items}},
     {"pRetCode"}, Results::Teller},
    {"600019", "8019", "PDA_EscortUserInfoSync", {"teller", "sync"},
     "Send the tellers to whom an escort may hand over", "--tellers 'T0815;'",
     {kPda, {"pTellerNo", "Ex_TellerNo", "tellers", "tellers, each followed by \";\"", Kind::Items}},
     {"pRetCode"}, Results::Teller},
};

const std::vector<Transaction> kLockCalls{
    {"", "7001", "SetBleMac", {"lock", "mac"}, "Hand the terminal a Bluetooth address",
     "--address 00:11:22:33:44:55",
     {{"bleMac", "Ex_BleMac", "address", "the address"}},
     {"retCode"}},
    {"", "7011", "GetLockList", {"lock", "list"}, "List the locks that the terminal sees", "",
     {},
     {"srcSeqNo", "retCode", "lockCount", "lockIds", "labels", "states", "rssis"}},
    {"", "7016", "GetLockInfo", {"lock", "info"}, "Show a lock's versions, parameters and status",
     "--lock LOCK-1",
     {kLock},
     {"srcSeqNo", "retCode", "lockId", "firmwareVersion", "chipVersion", "parameters", "bootVersion",
      "applicationCrc", "status", "rnd"}},
    {"", "7012", "GetPublicKey", {"lock", "public-key"}, "Ask for a lock's public key and its factor",
     "--lock LOCK-1",
     {kLock},
     {"srcSeqNo", "retCode", "lockId", "publicKey", "factor"}},
    {"", "7013", "InitCDKKEV_CDKKCV", {"lock", "init-keys"}, "Set a lock's initial key set",
     "--lock LOCK-1 --fv @fv.txt --ev @ev.txt --cv @cv.txt",
     {kLock, secret("fv", "Ex_InitCDKKFV", "fv", "FV"), secret("ev", "Ex_InitCDKKEV", "ev", "EV"),
      secret("cv", "Ex_InitCDKKCV", "cv", "CV")},
     {"srcSeqNo", "retCode", "lockId"}},
    {"", "7014", "GetCDKKEV_CDKKCV", {"lock", "keys"}, "Ask for a lock's current key set",
     "--lock LOCK-1",
     {kLock},
     {"srcSeqNo", "retCode", "lockId", "fv", "cv"}},
    {"", "7015", "updateCDKKEV", {"lock", "update-keys"},
     "Replace a lock's key sets, parameters and label",
     "--lock LOCK-1 --fv @fv.txt --ev @ev.txt --cv @cv.txt --normal-fv @nfv.txt --normal-ev @nev.txt "
     "--normal-cv @ncv.txt --urgent-fv @ufv.txt --urgent-ev @uev.txt --urgent-cv @ucv.txt "
     "--parameters 00 --label 'Front vault'",
     {kLock,
      secret("newFv", "Ex_NewCDKKFV", "fv", "the new FV"),
      secret("newEv", "Ex_NewCDKKEV", "ev", "the new EV"),
      secret("newCv", "Ex_NewCDKKCV", "cv", "the new CV"),
      secret("normalKfv", "Ex_NormalUnLockKFV", "normal-fv", "FV for normal unlocking"),
      secret("normalKev", "Ex_NormalUnLockKEV", "normal-ev", "EV for normal unlocking"),
      secret("normalKcv", "Ex_NormalUnLockKCV", "normal-cv", "CV for normal unlocking"),
      secret("urgentKfv", "Ex_UrgentUnLockKFV", "urgent-fv", "FV for urgent unlocking"),
      secret("urgentKev", "Ex_UrgentUnLockKEV", "urgent-ev", "EV for urgent unlocking"),
      secret("urgentKcv", "Ex_UrgentUnLockKCV", "urgent-cv", "CV for urgent unlocking"),
      {"parameters", "Ex_LockParams", "parameters", "the lock's parameters"},
      {"label", "Ex_LockLabel", "label", "the lock's label"}},
     {"srcSeqNo", "retCode", "lockId", "rnd"}},
    {"", "7018", "ReqOpenLock", {"lock", "open"},
     "Ask locks to open; lists hold one value for each lock, each followed by \";\"",
     "--locks 'LOCK-1;LOCK-2;' --codes @codes.txt --users-a 'anna;anna;' --users-b 'ben;ben;'",
     {{"lockCount", "Ex_LockNum", "count", "how many locks; counted unless given", Kind::Text, ""},
      {"lockIds", "Ex_LockId", "locks", "the locks' ids"},
      {"actions", "Ex_Action", "actions", "what each lock is to do, \"00;\" for each unless given",
       Kind::Text, ""},
      {"oneTimeCodes", "Ex_OTCCode", "codes",
       "the one-time codes; needed with action \"00\", any other takes a placeholder", Kind::Secret, ""},
      {"usersA", "Ex_UserA", "users-a", "the first users", Kind::Needed},
      {"usersB", "Ex_UserB", "users-b", "the second users", Kind::Needed}},
     {"srcSeqNo", "retCode"}},
    {"", "7019", "ReadLockRes", {"lock", "result"}, "Ask what came of opening locks", "",
     {},
     {"srcSeqNo", "retCode", "lockCount", "lockIds", "actions", "results", "usersA", "usersB", "rnds",
      "openTimes", "batteries"}},
};

/// What a handler leaves of a message is its outputs.
Transaction handler(const char* type, const char* member, const char* kind, std::vector<const char*> fields,
                    End end = End::Written) {
    return {"", type, member, {}, kind, "", {}, std::move(fields), Results::Usual, end, true};
}

std::vector<Transaction> otherMembers() {
    const auto member = [](const char* name, End end) {
        return Transaction{"", "", name, {}, "", "", {}, {}, Results::Usual, end};
    };
    return {
        member("SyncHandoverDotData1", End::Begin),
        member("GetRandomNumber", End::Begin),
        member("GetLoginData", End::LastLine),
        {"", "9002", "SyncLoginResult", {"login", "answer"}, "Tell the terminal what came of a login",
         "000000",
         {kPda, {"resultCode", "Ex_RetCode", "CODE",
                 "000000 to let the user in, another code of six digits to refuse", Kind::Answer}},
         {}, Results::Usual, End::Written},
        handler("9001", "ReceiveScanResult", "scanned label", {"pdaSn", "label"}),
        handler("9001", "ReceiveRandomNumber", "user notice", {"pdaSn", "userName"}), // answers so, too
        handler("", "ReceiveLoginData", "login",
                {"pdaSn", "login", "name", "figData", "rnd", "pwd", "macChkVal"}, End::Begin),
        handler("9004", "ReceiveInventoryData", "inventory",
                {"pdaSn", "total", "labels", "errLabels", "login", "name", "figData", "rnd", "pwd", "macChkVal"}),
        handler("9005", "ReceiveHandoverDotData", "dot handover", handoverFields("road")),
        handler("9006", "ReceiveHandoverPowerData", "power handover", handoverFields("batchNumber")),
    };
}

// Anywhere in a name.
constexpr std::array<std::string_view, 22> kSecretParts{
    "key", "chkval", "checkval", "cdk", "unlockk",         // keys and their check values
    "rnd", "random", "nonce", "otccode",                   // numbers used once
    "pwd", "passw", "passphrase", "passcode", "pincode",   // users
    "figdata", "finger", "biometr",
    "secret", "token", "credential",
    "hexval", "filepath",                                  // contents of files are named after their path
};

// clang-format on

// Only at a name's end: they begin or fill many harmless words.
constexpr std::array<std::string_view, 4> kSecretEnds{"pin", "pass", "otp", "otc"};

constexpr std::size_t kMaxName = 64; // a longer one is judged by its end

bool endsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

template <typename Test>
const Transaction* find(Test test) {
    const std::vector<Transaction>& all = allTransactions();
    const auto found = std::find_if(all.begin(), all.end(), test);
    return found != all.end() ? &*found : nullptr;
}

std::vector<Transaction> makeAll() {
    std::vector<Transaction> all = kRequests;
    for (Transaction call : kLockCalls) {
        call.end = End::Reply;
        all.push_back(call);
    }
    for (const Transaction& other : otherMembers()) {
        all.push_back(other);
    }
    return all;
}

} // namespace

const std::vector<Transaction>& allTransactions() {
    static const std::vector<Transaction> all = makeAll();
    return all;
}

const Transaction* findCode(std::string_view code) {
    return code.empty() ? nullptr : find([&](const Transaction& each) { return each.code == code; });
}

const Transaction* findMember(std::string_view member) {
    return find([&](const Transaction& each) { return each.member == member; });
}

const Transaction* findType(std::string_view type) {
    const Transaction* const first =
        type.empty() ? nullptr : find([&](const Transaction& each) { return each.type == type; });
    const bool isShared = first != nullptr && find([&](const Transaction& each) {
                                                  return each.type == type && each.member != first->member;
                                              }) != nullptr;
    return isShared ? nullptr : first;
}

bool isTerminalType(std::string_view type) {
    return type.size() == 4 && type >= "9001" && type <= "9006";
}

std::string secretName(std::string_view name) {
    if (name.find_first_not_of("0123456789") == std::string_view::npos) {
        return {};
    }
    std::string lower(name.substr(name.size() - std::min(name.size(), kMaxName)));
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    const std::string_view stem =
        std::string_view(lower).substr(0, lower.find_last_not_of("0123456789_") + 1);
    const bool isSecret =
        std::any_of(kSecretParts.begin(), kSecretParts.end(),
                    [&](std::string_view part) { return lower.find(part) != std::string::npos; }) ||
        std::any_of(kSecretEnds.begin(), kSecretEnds.end(),
                    [&](std::string_view end) { return endsWith(stem, end); });
    return isSecret ? lower : std::string();
}

} // namespace pdactl
