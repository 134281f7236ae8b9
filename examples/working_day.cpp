// A working day of a host: everything that it says to the terminal, and what the terminal and its users say
// to it.
//
//     working_day
//
// Somebody has to work at the terminal meanwhile: scan three labels, find the bags of an inventory, log in
// and confirm a handover. `pdasim run --user -- working_day` has such a user. Ends with an error when an
// answer differs from the expected one.

#include "Inbox.h"

#include <pdalink.h>
#include <pdalink/analysis/PDAXMLAnalysis.h>
#include <pdalink/analysis/ResultStores.h>

#include <deque>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr const char* Number = "00000001";
constexpr std::size_t kResponseRoom = 128UL * 1024;
constexpr std::size_t kOutputRoom = 16UL * 1024;

/// The digits of a file, two packets long.
std::string fileDigits() {
    std::string digits;
    while (digits.size() < 4000) {
        digits += "0123456789abcdef";
    }
    return digits;
}

void show(const std::string& what, const std::string& result) {
    constexpr std::size_t shown = 110;
    std::cout << "   " << what << "\n      " << result.substr(0, shown) << (result.size() > shown ? "…" : "")
              << std::endl;
}

void expect(bool condition, const std::string& what) {
    if (!condition) {
        throw std::runtime_error("not as expected: " + what);
    }
}

/// Makes one request by JSON; its response has to be the expected one.
void request(const std::string& what, const std::string& json, const std::string& expected) {
    static std::vector<char> response(kResponseRoom);
    int length = 0;
    PDA_CommonCall(json.c_str(), static_cast<int>(json.size()), response.data(), &length);
    const std::string found(response.data(), static_cast<std::size_t>(length));
    show(what, found);
    expect(found == expected, "the response; it should be " + expected);
}

std::string accepted(const std::string& code) {
    return R"({"pRetCode":"000000","transCode":")" + code + "\"}";
}

/// An output of a direct call: zeros, as the library asks for.
class Output {
public:
    operator char*() { return m_bytes.data(); } // NOLINT(google-explicit-constructor): what the members take
    std::string text() const { return m_bytes.data(); }

private:
    std::vector<char> m_bytes = std::vector<char>(kOutputRoom, '\0');
};

/// A text that the members take as an input.
char* input(std::string&& text) {
    static std::deque<std::string> kept; // whose elements stay where they are
    kept.push_back(std::move(text));
    return kept.back().data();
}

/// The terminal's next message of its own, which has to be of this type, given to its handler.
void takeMessage(example::Inbox& inbox, const std::string& type, int (CPDAXMLAnalysis::*handler)(char*),
                 CPDAXMLAnalysis& library) {
    std::string message = inbox.take();
    expect(message.substr(6, 4) == type, "a message of type " + type + ", got " + message);
    expect((library.*handler)(message.data()) == 0, "the handler's result");
}

void scan(CPDAXMLAnalysis& library, example::Inbox& inbox) {
    request("start a scan run", R"({"transCode":"600004","pdaNumber":"00000001","pCmdType":"1"})",
            accepted("600004"));
    for (int i = 0; i < 3; ++i) {
        takeMessage(inbox, "9001", &CPDAXMLAnalysis::ReceiveScanResult, library);
        show("the terminal reports a label", pda_ScanLabel[2 * i + 1].toStdString());
    }
    request("fetch the list", R"({"transCode":"600005","pdaNumber":"00000001"})",
            R"({"pLabelLen":9,"pLabelList":"BAG-0001;BAG-0002;BAG-0003;","pLabelSize":4,"pScanState":"1",)"
            R"("transCode":"600005"})");
    request("stop the scan run", R"({"transCode":"600004","pdaNumber":"00000001","pCmdType":"0"})",
            accepted("600004"));
}

void inventory(CPDAXMLAnalysis& library, example::Inbox& inbox) {
    request("send an inventory task",
            R"({"transCode":"600006","pdaNumber":"00000001","pTaskID":"INV-1","pTotal":2,)"
            R"("pLabelList":"BAG-0001;BAG-0002;"})",
            accepted("600006"));
    takeMessage(inbox, "9004", &CPDAXMLAnalysis::ReceiveInventoryData, library);
    show("its user has finished it",
         pda_GetInventoryRet[2].toStdString() + " found by " + pda_GetInventoryRet[5].toStdString());
    expect(pda_GetInventoryRet[2] == "BAG-0001;BAG-0002;", "the labels found");
    request(
        "fetch the result", R"({"transCode":"600007","pdaNumber":"00000001"})",
        R"({"pErrLabel":"","pFigData":"F1A7","pLabelList":"BAG-0001;BAG-0002;","pLabelSize":3,"pLoginType":"user-a",)"
        R"("pMacChkVal":"MAC-A","pRnd":"5EED","pScanState":"1","pTaskID":"INV-1","pUserName":"Ann Example",)"
        R"("pUserPwd":"PWD-A","pVerificationType":"0","transCode":"600007"})");
}

void handover(CPDAXMLAnalysis& library, example::Inbox& inbox) {
    request(
        "send a handover at a service point",
        R"({"transCode":"600008","pdaNumber":"00000001","pTaskID":"DOT-1","pTaskType":1,"pRoad":"Route 7",)"
        R"("pExcgTime":"20260304080000","pOrgNum":"0042","pOrgNm":"Main branch","pTotal":1,"pLabel":"BAG-0003;",)"
        R"("pAName":"user-a","pBName":"user-b"})",
        accepted("600008"));
    takeMessage(inbox, "9002", &CPDAXMLAnalysis::ReceiveLoginData, library);
    Output number, login, name, fingerprint, random, password, check;
    library.GetLoginData(number, login, name, fingerprint, random, password, check);
    show("a user logs in at the terminal", login.text() + " (" + name.text() + ")");
    expect(login.text() == "user-a" && password.text() == "PWD-A", "the login");
    expect(library.SyncLoginResult(input(Number), input("000000")) == 0, "the result was sent");
    show("the host lets the user in", "000000");
    takeMessage(inbox, "9005", &CPDAXMLAnalysis::ReceiveHandoverDotData, library);
    show("the handover is confirmed",
         pda_HandoverDotData[6].toStdString() + " to " + pda_HandoverDotData[12].toStdString());
    expect(pda_HandoverDotData[6] == "Ann Example" && pda_HandoverDotData[12] == "Ben Example",
           "both parties");
    static std::vector<char> response(kResponseRoom);
    int length = 0;
    PDA_CommonCall(R"({"transCode":"600009","pdaNumber":"00000001","pTaskID":"DOT-1"})", 0, response.data(),
                   &length);
    const std::string found = response.data();
    show("fetch its result", found);
    expect(found.find(R"("pRoad":"Route 7")") != std::string::npos && pda_HandoverDotState, "the result");
}

void files() {
    request("send a file of 4000 digits, two packets",
            R"({"transCode":"600015","pdaNumber":"00000001","pCmdEx":1,"pInfoEx":"firmware","pFilePath":")" +
                fileDigits() + "\"}",
            accepted("600015"));
    CPDAXMLAnalysis library;
    Output data, retCode;
    int command = 7;
    expect(library.ReceiveDataSaveToFile(input(Number), &command, input("report"), data, retCode) == 0,
           "the transfer");
    show("fetch a file", std::to_string(data.text().size()) + " digits, " + data.text());
    expect(data.text().size() == 4200 && retCode.text() == "000000", "the file");
}

void locks(CPDAXMLAnalysis& library) {
    {
        Output source, retCode, count, ids, labels, states, rssis;
        expect(library.GetLockList(source, retCode, count, ids, labels, states, rssis) == 0, "a reply");
        show("list the locks around the terminal", count.text() + ": " + ids.text() + "  " + labels.text());
        expect(ids.text() == "LOCK-1;LOCK-2;" && retCode.text() == "000000", "two locks");
    }
    {
        Output source, retCode;
        expect(library.ReqOpenLock(input("1"), input("LOCK-1;"), input("00;"), input("123456;"),
                                   input("user-a;"), input("user-b;"), source, retCode) == 0 &&
                   retCode.text() == "000000",
               "the request");
        show("open the first one, with a one-time code", retCode.text());
    }
    Output source, retCode, count, ids, actions, results, usersA, usersB, randoms, times, batteries;
    expect(library.ReadLockRes(source, retCode, count, ids, actions, results, usersA, usersB, randoms, times,
                               batteries) == 0,
           "a reply");
    show("what came of it", ids.text() + " " + results.text() + " battery " + batteries.text());
    expect(ids.text() == "LOCK-1;" && results.text() == "00;", "an open lock");
}

void workingDay() {
    CPDAXMLAnalysis library;
    example::Inbox inbox;
    std::cout << "1. In the morning" << std::endl;
    request("initialise the terminal", R"({"transCode":"600001","pdaNumber":"00000001","pFactory":"ACME"})",
            R"({"pRetCode":"000000","pSN":"860123456789012","pVender":"SIMULATED","transCode":"600001"})");
    request("load a key",
            R"({"transCode":"600012","pdaNumber":"00000001","pKey":"00112233","CheckVal":"A1B2C3"})",
            accepted("600012"));
    request("compare its check value", R"({"transCode":"600013","pdaNumber":"00000001"})",
            R"({"pCheckVal":"A1B2C3","pRetCode":"000000","transCode":"600013"})");
    std::cout << "2. Bags" << std::endl;
    request("write a bag's label",
            R"({"transCode":"600003","pBagNumber":"BAG-0001","pAttrOrg":"0042","pBagType":"1"})",
            R"({"pRetCode":"000000","pTid":"TID0001","transCode":"600003"})");
    scan(library, inbox);
    std::cout << "3. Inventory" << std::endl;
    inventory(library, inbox);
    std::cout << "4. Handover, with a login" << std::endl;
    handover(library, inbox);
    std::cout << "5. Files" << std::endl;
    files();
    std::cout << "6. Locks" << std::endl;
    locks(library);
}

} // namespace

int main() {
    try {
        workingDay();
        return 0;
    } catch (const std::exception& failure) {
        std::cout << "   FAILED: " << failure.what() << std::endl;
        return 1;
    }
}
