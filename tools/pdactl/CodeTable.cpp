#include "CodeTable.h"

#include <algorithm>

namespace pdactl {

namespace {

constexpr const char* LabelsHelp = "labels, each followed by \";\"";

const Parameter Pda{"pdaNumber", "pda", "the terminal's number", false, false, "00000001"};
const Parameter Task{"pTaskID", "task", "the task's id"};

std::vector<const char*> handoverOutputs(const char* first) {
    return {first,       "pTime",     "pLable",    "pErrLabel", //
            "pALogin",   "pAName",    "pAFigData", "pARnd",       "pAPwd",       "pAMacChkVal", "pBLogin",
            "pBName",    "pBFigData", "pBRnd",     "pBPwd",       "pBMacChkVal", "pCLogin",     "pCName",
            "pCFigData", "pCRnd",     "pCPwd",     "pCMacChkVal", "pScanState"};
}

std::vector<Code> makeCodes() {
    return {
        {"600001",
         {"init"},
         "Tell the terminal its number and the factory code",
         "--factory F1",
         {Pda, {"pFactory", "factory", "the factory code"}},
         {"pSN", "pVender", "pRetCode"}},
        {"600002",
         {"info"},
         "Ask the terminal who it is",
         "",
         {},
         {"pSN", "pBleVersion", "pPDAVersion", "pRetCode"}},
        {"600003",
         {"bag", "write"},
         "Write a bag's label",
         "--number B0001 --org 1001 --type 1",
         {{"pBagNumber", "number", "the bag's number"},
          {"pAttrOrg", "org", "the organisation that it belongs to"},
          {"pBagType", "type", "the kind of bag"}},
         {"pTid", "pRetCode"}},
        {"600004",
         {"scan", "start"},
         "Start a scan run",
         "",
         {Pda, {"pCmdType", "command", "what the terminal takes as the command to start", false, false, "1"}},
         {"pRetCode"}},
        {"600004",
         {"scan", "stop"},
         "Stop the scan run",
         "",
         {Pda, {"pCmdType", "command", "what the terminal takes as the command to stop", false, false, "0"}},
         {"pRetCode"}},
        {"600005",
         {"scan", "list"},
         "Show the labels scanned so far",
         "",
         {Pda},
         {"pLabelList", "pLabelSize", "pLabelLen", "pScanState"},
         nullptr},
        {"600006",
         {"inventory", "send"},
         "Send an inventory task",
         "--task T1 --total 2 --labels 'B1;B2;'",
         {Pda,
          Task,
          {"pTotal", "total", "how many labels there are", true},
          {"pLabelList", "labels", LabelsHelp}},
         {"pRetCode"}},
        {"600007",
         {"inventory", "result"},
         "Ask what came of the inventory",
         "",
         {Pda},
         {"pTaskID", "pLabelSize", "pLabelList", "pErrLabel", "pVerificationType", "pLoginType", "pUserName",
          "pFigData", "pRnd", "pUserPwd", "pMacChkVal", "pScanState"},
         nullptr},
        {"600008",
         {"handover", "dot", "send"},
         "Send a handover at a service point",
         "--task T1 --type 1 --route R1 --time 20260102153000 --org 1001 --org-name Centre --total 1 "
         "--labels 'B1;' --user-a anna --user-b ben",
         {Pda,
          Task,
          {"pTaskType", "type", "the kind of task", true},
          {"pRoad", "route", "the route"},
          {"pExcgTime", "time", "when it takes place"},
          {"pOrgNum", "org", "the organisation's number"},
          {"pOrgNm", "org-name", "the organisation's name"},
          {"pTotal", "total", "how many labels there are", true},
          {"pLabel", "labels", LabelsHelp},
          {"pAName", "user-a", "the user who hands over"},
          {"pBName", "user-b", "the user who takes over"}},
         {"pRetCode"}},
        {"600009",
         {"handover", "dot", "result"},
         "Ask what came of it",
         "--task T1",
         {Pda, Task},
         handoverOutputs("pRoad"),
         nullptr},
        {"600010",
         {"handover", "power", "send"},
         "Send a handover between organisations",
         "--task T1 --org 1001 --time 20260102153000 --org-name Centre --batch N1 --total 1 "
         "--labels 'B1;'",
         {Pda,
          Task,
          {"pOrgNb", "org", "the organisation's number"},
          {"pTime", "time", "when it takes place"},
          {"pOrgNm", "org-name", "the organisation's name"},
          {"pBatchNb", "batch", "the batch's number"},
          {"pTotal", "total", "how many labels there are", true},
          {"pLabel", "labels", LabelsHelp},
          {"pBagNumber", "bag", "not sent to the terminal", false, false, ""}},
         {"pRetCode"}},
        {"600011",
         {"handover", "power", "result"},
         "Ask what came of it",
         "--task T1",
         {Pda, Task},
         handoverOutputs("BatchNb"),
         nullptr},
        {"600012",
         {"key", "init"},
         "Load a key",
         "--key @key.txt --check-value @check.txt",
         {Pda,
          {"pKey", "key", "the key", false, true},
          {"CheckVal", "check-value", "its check value", false, true}},
         {"pRetCode"}},
        {"600013", {"key", "check"}, "Ask for the key's check value", "", {Pda}, {"pCheckVal", "pRetCode"}},
        {"600014",
         {"key", "update"},
         "Replace the working keys",
         "--enc-key @enc.txt --mac-key @mac.txt --enc-check-value @enc-check.txt "
         "--mac-check-value @mac-check.txt",
         {Pda,
          {"pEncKey", "enc-key", "the key to encipher with", false, true},
          {"pMacKey", "mac-key", "the key to sign with", false, true},
          {"pEncChkVal", "enc-check-value", "its check value", false, true},
          {"pMacChkVal", "mac-check-value", "its check value", false, true}},
         {"pRetCode"}},
        {"600015",
         {},
         "Send a file, as hexadecimal digits",
         "",
         {Pda,
          {"pCmdEx", "command", "the command's number", true},
          {"pInfoEx", "info", "free text"},
          {"pFilePath", "data", "the file as hexadecimal digits"}},
         {"pRetCode"},
         "pRetCode",
         Results::File},
        {"600016",
         {},
         "Fetch a file, as hexadecimal digits",
         "",
         {Pda, {"pCmdEx", "command", "the command's number", true}, {"pInfEx", "info", "free text"}},
         {"pFilePath", "pRetCode"},
         "pRetCode",
         Results::File},
        {"600017",
         {"teller", "registered"},
         "Ask which teller registered at the terminal",
         "",
         {Pda},
         {"pTellerNo", "pRetCode"},
         "pRetCode",
         Results::Teller},
        {"600018",
         {"teller", "authenticated"},
         "Report users' authentication",
         "--results '000000;'",
         {Pda, {"pAuthRet", "results", "results, each followed by \";\""}},
         {"pRetCode"},
         "pRetCode",
         Results::Teller},
        {"600019",
         {"teller", "sync"},
         "Send the tellers to whom an escort may hand over",
         "--tellers 'T0815;'",
         {Pda, {"pTellerNo", "tellers", "tellers, each followed by \";\""}},
         {"pRetCode"},
         "pRetCode",
         Results::Teller},
    };
}

} // namespace

const std::vector<Code>& allCodes() {
    static const std::vector<Code> codes = makeCodes();
    return codes;
}

const Code* findCode(const std::string& number) {
    const std::vector<Code>& codes = allCodes();
    const auto found =
        std::find_if(codes.begin(), codes.end(), [&](const Code& code) { return number == code.number; });
    return found != codes.end() ? &*found : nullptr;
}

} // namespace pdactl
