#include "LogLines.h"
#include "Outcomes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace pdactl::log::test {

namespace {

const std::string kPda = tag("Ex_PdaSn", "00000001");

/// A message's tags: a result code stands for a reply with it, "2/5" for packet 2 of 5, and anything else for
/// itself.
std::string tagsOf(const std::string& text) {
    const std::size_t slash = text.find('/');
    if (text.size() == 6 && slash == std::string::npos) {
        return tag("Ex_RetCode", text);
    }
    if (slash != std::string::npos && text.find('<') == std::string::npos) {
        return tag("Ex_RetCode", "000000") + tag("Ex_TotalPkt", text.substr(slash + 1)) +
               tag("Ex_CurPkt", text.substr(0, slash));
    }
    return text;
}

void addStep(LogText& log, const std::string& step, const std::string& first, const std::string& rest) {
    const std::map<std::string, std::function<void()>> steps{
        {"after", [&] { log.after(std::stoi(first)); }},
        {"getInfo", [&] { log.getInfo(); }},
        {"request", [&] { log.request(R"({"pdaNumber":"1","transCode":")" + first + "\"}"); }},
        {"json", [&] { log.request(first + rest); }},
        {"begin", [&] { log.step("[" + first + "] begin"); }},
        {"prepare", [&] { log.info(first + " SendData pre: " + message(rest, kPda)); }},
        {"write", [&] { log.written(message(first, rest.empty() ? kPda : tagsOf(rest))); }},
        {"fail", [&] { log.info("Write XML error:" + message(first, "") + "  sendLen:-1 bufferLen:50"); }},
        {"read", [&] { log.read(message(first, tagsOf(rest))); }},
        {"silence", [&] { log.after(4900).read(""); }},
        {"wrong", [&] { log.step("Read XML:" + message(first, "") + " ---Wrong Command --Delete"); }},
        {"respond",
         [&] {
             log.response(R"({"pRetCode":")" + rest.substr(rest.find(' ') + 1) + R"(","transCode":")" +
                              first + "\"}",
                          std::stoi(rest));
         }},
        {"refuse", [&] { log.response("{}", -1); }},
        {"warning", [&] { log.warning(first + (rest.empty() ? "" : " " + rest)); }},
        {"line", [&] { log.step(first + (rest.empty() ? "" : " " + rest)); }},
        {"raw", [&] { log.raw(first + rest + "\n"); }},
    };
    const auto found = steps.find(step);
    ASSERT_NE(found, steps.end()) << step;
    found->second();
}

/// A log of steps that are separated by ";" or line ends.
LogText logOf(const std::string& script) {
    LogText log;
    std::string plain = script;
    std::replace(plain.begin(), plain.end(), ';', '\n');
    std::istringstream lines(plain);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string step;
        std::string first;
        std::string rest;
        words >> step >> first >> std::ws;
        std::getline(words, rest);
        if (!step.empty()) {
            addStep(log, step, first, rest);
        }
    }
    return log;
}

/// The table's rows without the times at which they began.
std::vector<std::string> rowsOf(const LogText& log) {
    std::vector<std::string> rows;
    for (const Exchange& exchange : exchanges(log)) {
        const std::array<std::string, kColumns> cells = cellsOf(exchange);
        std::string row = cells[1];
        for (std::size_t i = 2; i < kColumns; ++i) {
            row += cells[i].empty() ? "" : " " + cells[i];
        }
        rows.push_back(row);
    }
    return rows;
}

const std::string kDone = "600002 GetInfo done 000000 0.111 s ";

struct Script {
    std::string name;
    std::string script;
    std::vector<std::string> rows;
};

void expectRows(const std::vector<Script>& cases) {
    for (const auto& [name, script, rows] : cases) {
        SCOPED_TRACE(name);
        EXPECT_EQ(rowsOf(logOf(script)), rows);
    }
}

TEST(Exchanges, TellRequestReplyResultAndTime) {
    LogText log;
    log.info("Vid/Pid: 1209/0001  logpath:/opt/log/PDA.log").getInfo();
    const Exchange exchange = only(log);
    EXPECT_EQ(rowsOf(log), std::vector<std::string>{kDone + "-"});
    EXPECT_EQ(exchange.origin, Origin::Request);
    EXPECT_EQ(exchange.type, "8001");
    EXPECT_EQ(exchange.result, 0);
    EXPECT_EQ(exchange.request, R"({"transCode":"600002"})");
    EXPECT_EQ(exchange.sent, message("8001", tag("Ex_SeqNo", "0001")));
    EXPECT_EQ(tagValue(exchange.received, "Ex_EIMI"), "860123456789012");
    EXPECT_EQ(exchange.response, R"({"pRetCode":"000000","transCode":"600002"})");
    EXPECT_EQ(exchange.messagesSent, 1);
    EXPECT_EQ(exchange.messagesReceived, 1);
    EXPECT_EQ(only(logOf("begin GetLockList;write 7011;read 9001")).received, "");
}

const std::string kKeys = "request 600013;begin GetKeyVerificationValue;write 8013;after 100;";
const std::string kInfo = "request 600002;begin GetInfo;write 8001;after 100;";
const std::string kTeller = "request 600017;begin PDA_GetRegisterUserData;write 8017;";
const std::vector<Script> kRequests{
    {"with gaps", "getInfo;after 5000;getInfo", {kDone + "-", kDone + "5.000 s"}},
    {"refused by the terminal",
     kKeys + "read 8013 000002;respond 600013 0 000002",
     {"600013 GetKeyVerificationValue terminal-refused 000002 0.100 s -"}},
    {"refused in the message only",
     kKeys + "read 8013 000009;respond 600013 0 ",
     {"600013 GetKeyVerificationValue terminal-refused 000009 0.100 s -"}},
    {"silence",
     kInfo + "silence;silence;respond 600002 2 000060",
     {"600002 GetInfo no-reply 000060 9.900 s - 2 timeouts"}},
    {"another message",
     kInfo + "read 9001;wrong 9001;respond 600002 2 000060",
     {"600002 GetInfo no-reply 000060 0.100 s - 1 wrong message; a message of another type was dropped"}},
    {"no device",
     "request 600002;begin GetInfo;line openHidDevice port: ;after 1000;"
     "line hid device is not open;respond 600002 -1 ",
     {"600002 GetInfo not-sent - 1.000 s - openHidDevice port: ; hid device is not open"}},
    {"a device",
     "request 600002;begin GetInfo;line openHidDevice port: /dev/hidraw0;write 8001",
     {"600002 GetInfo unfinished - 0.000 s -"}},
    {"a failed write",
     "request 600002;begin GetInfo;line sendLen error. errno:5;fail 8001;respond 600002 -1 ",
     {"600002 GetInfo not-sent - 0.000 s - 1 failed write; sendLen error. errno:5"}},
    {"an unknown code",
     "request 600099;line info msg:can not find transCode;refuse",
     {"600099 ? request-refused - 0.000 s - info msg:can not find transCode"}},
    {"a known code",
     "request 600001;line info msg:transCode:600001 param name error;refuse",
     {"600001 Init request-refused - 0.000 s - info msg:transCode:600001 param name error"}},
    {"a failure inside",
     kInfo + "warning out of memory;respond 600002 1 ",
     {"600002 GetInfo internal-failure - 0.100 s - out of memory"}},
    {"a teller's success",
     kTeller + "read 8017 000000;line [get PDA register usr info]: 000000;respond 600017 1 000000",
     {"600017 PDA_GetRegisterUserData done 000000 0.000 s -"}},
    {"a silent teller",
     kTeller + "silence;line Read XML: time out ;respond 600017 -1 000060",
     {"600017 PDA_GetRegisterUserData no-reply 000060 4.900 s - 1 timeout"}},
    {"a teller's closed device",
     "request 600018;begin PDA_SendUserAuthenticationResult;"
     "line hid device is not open;respond 600018 -1 ",
     {"600018 PDA_SendUserAuthenticationResult not-sent - 0.000 s - hid device is not open"}},
    {"a refused file",
     "request 600015;begin ReadFileDataToPDA;write 8015;read 8015 000007;write 8015;"
     "read 8015 000007;line data send error. already send:3 times;respond 600015 6 000007",
     {"600015 ReadFileDataToPDA transfer-refused 000007 0.000 s - 2 messages sent; data send error. "
      "already "
      "send:3 times"}},
    {"a short file",
     "request 600015;begin ReadFileDataToPDA;line file is too short:0102;respond 600015 5 ",
     {"600015 ReadFileDataToPDA too-short - 0.000 s - file is too short:0102"}},
    {"unfinished", kInfo, {"600002 GetInfo unfinished - 0.000 s -"}},
    {"unfinished before others",
     kInfo + "after 300;getInfo;after 60000;getInfo",
     {"600002 GetInfo unfinished - 0.000 s -", kDone + "0.400 s", kDone + "60.000 s"}},
    {"a long wait",
     kInfo + "after 64000;begin GetLockList;read 8001 000000;respond 600002 0 000000",
     {"600002 GetInfo done 000000 64.100 s - interleaved with another host",
      "- GetLockList unfinished - 0.000 s 0.000 s interleaved with another host"}},
    {"warnings",
     "request 600002;warning before all;begin GetInfo;warning one;write 8001;read 8001 000000;"
     "warning two;respond 600002 0 000000;warning after all",
     {"600002 GetInfo done 000000 0.000 s - before all; one; two"}},
};

TEST(Exchanges, OfRequests) {
    expectRows(kRequests);
}

TEST(Exchanges, WithoutAResponseAreRefusedForWhatTheRequestLacks) {
    for (const char* json : {"", "7", "{}", R"({"a":"transCode"})", R"({"transCode":"600002")",
                             R"({"transCode":"600002"}})", R"({"transCode":"600002",})"}) {
        for (const int pause : {0, 200}) {
            LogText log;
            log.request(json).after(pause).getInfo();
            const std::vector<Exchange> found = exchanges(log);
            ASSERT_EQ(found.size(), 2U);
            EXPECT_EQ(found[0].outcome, Outcome::RequestRefused) << json;
            EXPECT_EQ(found[0].notes.size(), 1U) << json;
            EXPECT_EQ(found[1].outcome, Outcome::Done) << json;
            EXPECT_TRUE(pause == 0 || !found[1].isInterleaved) << json;
        }
    }
    for (const char* json : {R"({"transCode":"600002"})", R"({"a":[{"b":1},"]"],"transCode":"600002"} )"}) {
        LogText log;
        log.request(json).after(200).getInfo();
        EXPECT_EQ(rowsOf(log)[0], "600002 GetInfo unfinished - 0.000 s -") << json;
    }
    LogText torn;
    torn.step(R"(inJson4:{"transCode":"6000)");
    EXPECT_EQ(rowsOf(torn), std::vector<std::string>{"- ? unfinished - 0.000 s -"});
}

TEST(Exchanges, OfDirectCalls) {
    const std::string list = "begin GetLockList;write 7011;after 110;";
    expectRows({
        {"replied", list + "read 7011 000000", {"- GetLockList done 000000 0.110 s -"}},
        {"silence", "begin GetLockInfo;write 7016;silence", {"- GetLockInfo no-reply - 4.900 s - 1 timeout"}},
        {"not sent",
         "begin ReadLockRes;line hid device is not open",
         {"- ReadLockRes not-sent - 0.000 s - hid device is not open"}},
        {"two waits",
         "begin Init;write 8002;silence;after 4000;read 8002 000003",
         {"600001 Init terminal-refused 000003 8.900 s - 1 timeout"}},
        {"beginnings",
         "begin SyncHandoverDotData1;begin GetRandomNumber",
         {"- SyncHandoverDotData1 done - 0.000 s -", "- GetRandomNumber done - 0.000 s 0.000 s"}},
        {"a login",
         "begin GetLoginData;after 1000;line user login info;prepare SyncLoginResult 9002;write 9002",
         {"- GetLoginData done - 1.000 s -", "- SyncLoginResult done - 0.000 s 0.000 s"}},
        {"warnings",
         "begin GetLockList;warning one;write 7011;read 7011 000000;warning two;line x;after 1000;warning "
         "later",
         {"- GetLockList done 000000 0.000 s - one; two"}},
        {"a late reply",
         "begin Init;write 8002;silence;after 1000;begin GetLockList;write 7011;read 8002 000000",
         {"600001 Init no-reply - 4.900 s - 1 timeout", "- GetLockList no-reply - 0.000 s 1.000 s"}},
        {"an unknown one", "begin Nobody", {"- ? unfinished - 0.000 s - unknown: Nobody"}},
    });
    const Exchange call = only(logOf(list + "read 7011 000000"));
    EXPECT_EQ(call.origin, Origin::Direct);
    EXPECT_FALSE(call.result);
}

TEST(Exchanges, OfDirectCallsAreFinishedWithTheirLastLine) {
    const std::string label = "silence;read 9001 <Ex_Label>B1</Ex_Label>;begin ReceiveScanResult;";
    for (const std::string& script :
         {std::string("begin SyncLoginResult;write 9002"), std::string("begin GetLockList;fail 7011"),
          std::string("begin GetLockList;write 7011;read 7011 000000"), label + "write 9001 000000"}) {
        SCOPED_TRACE(script);
        ExchangeBuilder builder;
        for (const Entry& entry : readEntries(logOf(script).text())) {
            EXPECT_EQ(builder.takeFinished().size(), 0U);
            builder.add(entry);
        }
        EXPECT_EQ(builder.takeFinished().size(), 1U);
    }
}

TEST(Exchanges, OfTheTerminal) {
    const std::vector<Script> cases{
        {"9001",
         "silence;read 9001 <Ex_Label>B1</Ex_Label>;after 20;begin ReceiveScanResult;write 9001 000000",
         {"- ReceiveScanResult done - 0.020 s -"}},
        {"9003",
         "read 9003;begin ReceiveRandomNumber;line Read XML:-;write 9001 000000",
         {"- ReceiveRandomNumber done - 0.000 s -"}},
        {"9002", "read 9002;begin ReceiveLoginData;line Read XML:-", {"- ReceiveLoginData done - 0.000 s -"}},
        {"9004", "read 9004;after 30;write 9004 000000", {"- ReceiveInventoryData done - 0.030 s -"}},
        {"9005",
         "read 9005;begin ReceiveHandoverDotData;line hid device is not open",
         {"- ReceiveHandoverDotData not-sent - 0.000 s - hid device is not open"}},
    };
    expectRows(cases);
    for (const auto& [type, script, rows] : cases) {
        const Exchange exchange = only(logOf(script));
        EXPECT_EQ(exchange.origin, Origin::Terminal) << type;
        EXPECT_EQ(exchange.type, type);
        EXPECT_NE(exchange.received, "") << type;
    }
}

TEST(Exchanges, MayLackTheirBeginning) {
    LogText whole;
    whole.getInfo();
    for (const char* first : {"600002 SendData pre: ", "Write XML: ", "outJson:"}) {
        LogText rest;
        rest.raw(whole.text().substr(whole.text().find(first) - stamp(0).size() - 11));
        const Exchange exchange = only(rest);
        EXPECT_TRUE(exchange.lacksBeginning) << first;
        EXPECT_EQ(exchange.code, "600002") << first;
        EXPECT_EQ(exchange.outcome, Outcome::Done) << first;
        EXPECT_EQ(exchange.member->member, "GetInfo") << first;
    }
}

TEST(Exchanges, OfTwoHosts) {
    const std::string interleaved = " interleaved with another host";
    expectRows({
        {"with different requests",
         "request 600002;request 600013;begin GetInfo;begin GetKeyVerificationValue;write 8013;write "
         "8001;after 100;"
         "read 8001 000000;read 8013 000004;respond 600002 0 000000;after 50;respond 600013 0 000004",
         {"600002 GetInfo done 000000 0.100 s -" + interleaved,
          "600013 GetKeyVerificationValue terminal-refused 000004 0.150 s 0.000 s" + interleaved}},
        {"with the same request",
         "request 600002;request 600002;begin GetInfo;begin GetInfo;write 8001;write 8001;read 8001 000000;"
         "read 8001 000000;respond 600002 0 000000;respond 600002 0 000000",
         {"600002 GetInfo done 000000 0.000 s -" + interleaved,
          "600002 GetInfo done 000000 0.000 s 0.000 s" + interleaved}},
    });
}

TEST(Exchanges, AreNotMadeOfImitationsAndGarbage) {
    LogText fake;
    fake.getInfo();
    LogText log;
    log.request(R"({"transCode":"600003"})").step("[WriteBagNumber] begin").written(message("8003", ""));
    log.read(message("8003", tag("Ex_Tid", "\n" + fake.text()) + tag("Ex_RetCode", "000000"))).type("8003");
    log.response(R"({"pRetCode":"000000","transCode":"600003"})", 0);
    EXPECT_EQ(rowsOf(log), std::vector<std::string>{"600003 WriteBagNumber done 000000 0.000 s -"});
    LogText garbage;
    garbage.raw("garbage\n").info("Read XML:").info("Write XML: ").step("[] begin").step("outJson:");
    garbage.step("inJson4:").info(" SendData pre: ").step("Xml Type: len:0").raw(std::string(99, '\0'));
    EXPECT_LE(exchanges(garbage).size(), 3U);
    for (const Exchange& exchange : exchanges(garbage)) {
        EXPECT_NE(exchange.outcome, Outcome::Done);
    }
}

TEST(Fetches, AreDoneWithTheLastPacketOnly) {
    const std::string fetch = "begin ReceiveDataSaveToFile;write 8016;after 100;";
    const std::string again = "write 8016;after 100;";
    std::string damaged = fetch;
    std::string repeated = fetch;
    for (int i = 0; i < 100; ++i) {
        damaged += "read 8016 0/1;line pda return crc error:ffff;" + again;
        repeated += "read 8016 0/2;" + again;
    }
    const std::string given = "warning file transfer given up: ";
    const auto outcome = [](const std::string& script) {
        return std::string(exchanges(logOf(script)).front().outcomeName());
    };
    const std::vector<std::pair<std::string, std::string>> cases{
        {fetch + "read 8016 0/2", "unfinished"},
        {fetch + "read 8016 0/2;" + again, "unfinished"},
        {fetch + "read 8016 0/2;" + again + "read 8016 1/2", "done"},
        {fetch + "read 8016 000005", "terminal-refused"},
        {damaged + "read 8016 0/1;line pda return crc error:ffff", "no-reply"},
        {damaged + given + "the terminal brings no new packet;after 1000", "no-reply"},
        {repeated + "read 8016 0/2;" + given + "the terminal brings no new packet", "no-reply"},
        {fetch + "silence;silence;silence;" + again + again + "getInfo", "no-reply"},
        {fetch + "silence;read 8016 0/2;" + again + "silence", "no-reply"},
        {fetch + "silence;read 8016 0/2;" + again + "silence;silence;" + again + again, "no-reply"},
        {fetch + "read 8016 -1/2;read 8016 200000/2;read 8016 -7/2", "no-reply"},
        {fetch + "read 8016 0/2;" + given + "more data than a file can have", "internal-failure"},
    };
    for (const auto& [script, expected] : cases) {
        EXPECT_EQ(outcome(script), expected) << script.substr(0, 300);
    }
    EXPECT_EQ(exchanges(logOf(cases[7].first)).front().timeouts, 3);
}

TEST(SentFiles, TellTheirOutcomeWhenTheHostCallsDirectly) {
    const std::string first = "begin ReadFileDataToPDA;write 8015 0/2;read 8015 000000;";
    expectRows({
        {"half", first, {"600015 ReadFileDataToPDA unfinished 000000 0.000 s -"}},
        {"whole",
         first + "write 8015;read 8015 000000",
         {"600015 ReadFileDataToPDA done 000000 0.000 s - 2 messages sent"}},
        {"refused",
         "begin ReadFileDataToPDA;write 8015 0/2;read 8015 000007;line data send error. already send:3 times",
         {"600015 ReadFileDataToPDA transfer-refused 000007 0.000 s - data send error. already send:3 "
          "times"}},
        {"too short",
         "begin ReadFileDataToPDA;line file is too short:01",
         {"600015 ReadFileDataToPDA too-short - 0.000 s - file is too short:01"}},
    });
}

} // namespace

} // namespace pdactl::log::test
