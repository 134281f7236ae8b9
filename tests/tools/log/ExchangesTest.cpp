#include "LogLines.h"
#include "Outcomes.h"

#include "log/Entries.h"
#include "log/ExchangeBuilder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace pdactl::log::test {

namespace {

const std::string kPda = tag("Ex_PdaSn", "00000001");

/// A request as far as its message has been written.
LogText begun(const std::string& code, const std::string& method, const std::string& type) {
    LogText log;
    log.request(R"({"pdaNumber":"00000001","transCode":")" + code + "\"}").step("[" + method + "] begin");
    return log.written(message(type, kPda)).after(100);
}

std::string response(const std::string& code, const std::string& resultCode) {
    return R"({"pRetCode":")" + resultCode + R"(","transCode":")" + code + "\"}";
}

TEST(Exchanges, TellRequestReplyResultAndTime) {
    LogText log;
    log.info("Vid/Pid: 1209/0001  logpath:/opt/log/PDA.log").getInfo();
    const Exchange exchange = only(log);
    EXPECT_EQ(exchange.origin, Origin::Request);
    EXPECT_EQ(exchange.outcome, Outcome::Done);
    EXPECT_EQ(exchange.code, "600002");
    EXPECT_EQ(exchange.member->member, "GetInfo");
    EXPECT_EQ(exchange.type, "8001");
    EXPECT_EQ(exchange.result, 0);
    EXPECT_EQ(exchange.resultCode, "000000");
    EXPECT_EQ(exchange.duration(), 111);
    EXPECT_FALSE(exchange.gap);
    EXPECT_EQ(exchange.request, R"({"transCode":"600002"})");
    EXPECT_EQ(exchange.sent, message("8001", tag("Ex_SeqNo", "0001")));
    EXPECT_EQ(tagValue(exchange.received, "Ex_EIMI"), "860123456789012");
    EXPECT_EQ(exchange.response, R"({"pRetCode":"000000","transCode":"600002"})");
    EXPECT_EQ(exchange.messagesSent, 1);
    EXPECT_EQ(exchange.messagesReceived, 1);
    EXPECT_TRUE(exchange.notes.empty());
    EXPECT_FALSE(exchange.isInterleaved || exchange.lacksBeginning);
}

TEST(Exchanges, HaveGapsBetweenThem) {
    LogText log;
    log.getInfo().after(5000).getInfo();
    const std::vector<Exchange> found = exchanges(log);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[1].gap, 5000);
}

TEST(Exchanges, CanBeRefusedByTheTerminal) {
    LogText log = begun("600013", "GetKeyVerificationValue", "8013");
    log.read(message("8013", tag("Ex_RetCode", "000002")))
        .type("8013")
        .response(response("600013", "000002"), 0);
    EXPECT_EQ(only(log).outcome, Outcome::TerminalRefused);
    EXPECT_EQ(only(log).resultCode, "000002");
}

TEST(Exchanges, CanBeRefusedWithoutAResultCodeInTheResponse) {
    LogText log = begun("600005", "GetScanLabelList", "8005");
    log.read(message("8005", tag("Ex_RetCode", "000009"))).type("8005");
    log.response(R"({"pLabelList":"","transCode":"600005"})", 0);
    EXPECT_EQ(only(log).outcome, Outcome::TerminalRefused);
}

TEST(Exchanges, CanGetNoReply) {
    LogText log = begun("600001", "Init", "8002");
    log.after(4900).read("").after(4900).read("").response(response("600001", "000060"), 2);
    const Exchange exchange = only(log);
    EXPECT_EQ(exchange.outcome, Outcome::NoReply);
    EXPECT_EQ(exchange.timeouts, 2);
    EXPECT_EQ(exchange.duration(), 9900);
}

TEST(Exchanges, CanGetAMessageOfAnotherType) {
    const std::string other = message("9001", kPda);
    LogText log = begun("600002", "GetInfo", "8001");
    log.read(other).type("9001").step("Read XML:" + other + " ---Wrong Command --Delete");
    log.response(response("600002", "000060"), 2);
    const Exchange exchange = only(log);
    EXPECT_EQ(exchange.outcome, Outcome::NoReply);
    EXPECT_EQ(exchange.wrongMessages, 1);
    EXPECT_EQ(exchange.received, "");
}

TEST(Exchanges, CanFailToBeSent) {
    LogText closed;
    closed.request(R"({"transCode":"600002"})")
        .step("[GetInfo] begin")
        .info("openHidDevice port: ")
        .after(1000);
    closed.info("hid device is not open").response(R"({"pRetCode":"","transCode":"600002"})", -1);
    EXPECT_EQ(only(closed).outcome, Outcome::NotSent);
    EXPECT_EQ(only(closed).notes,
              (std::vector<std::string>{"openHidDevice port: ", "hid device is not open"}));

    LogText broken;
    broken.request(R"({"transCode":"600002"})").step("[GetInfo] begin");
    broken.info("sendLen error. need to reopen device errno:5 info:Input/output error");
    broken.info("Write XML error:" + message("8001", "") + "  sendLen:-1 bufferLen:50");
    broken.response(R"({"pRetCode":"","transCode":"600002"})", -1);
    EXPECT_EQ(only(broken).outcome, Outcome::NotSent);
    EXPECT_EQ(only(broken).failedWrites, 1);
    EXPECT_EQ(only(broken).notes.size(), 1U);
}

TEST(Exchanges, CanBeRefusedByTheLibrary) {
    for (const char* reason : {"can not find transCode", "transCode:600099 do not have function",
                               "transCode:600001 param name error"}) {
        LogText log;
        log.request(R"({"transCode":"600099"})").step(std::string("info msg:") + reason).response("{}", -1);
        EXPECT_EQ(only(log).outcome, Outcome::RequestRefused);
        EXPECT_EQ(only(log).notes, std::vector<std::string>{std::string("info msg:") + reason});
        EXPECT_EQ(only(log).result, -1);
    }
}

TEST(Exchanges, RequestsWithoutAnyResponseWereRefused) {
    LogText log;
    log.request(R"({"transCode":"600002")").after(200).getInfo();
    const std::vector<Exchange> found = exchanges(log);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].outcome, Outcome::RequestRefused);
    EXPECT_EQ(found[1].outcome, Outcome::Done);
    EXPECT_FALSE(found[1].isInterleaved);
    LogText hasty;
    hasty.request(R"({"transCode":"600002")").getInfo();
    ASSERT_EQ(exchanges(hasty).size(), 2U);
    EXPECT_EQ(exchanges(hasty)[1].outcome, Outcome::Done);
}

TEST(Exchanges, WithoutAResponseOrAReasonAreUnfinished) {
    for (const char* json : {R"({"transCode":"600002"})", R"({"a":[{"b":1},"]"],"transCode":"600002"} )"}) {
        LogText log;
        log.request(json).after(200).getInfo();
        const std::vector<Exchange> found = exchanges(log);
        ASSERT_EQ(found.size(), 2U);
        EXPECT_EQ(found[0].outcome, Outcome::Unfinished) << json;
        EXPECT_TRUE(found[0].notes.empty()) << json;
    }
    LogText torn;
    torn.step(R"(inJson4:{"transCode":"6000)");
    EXPECT_EQ(only(torn).outcome, Outcome::Unfinished);
    EXPECT_TRUE(only(torn).notes.empty());
}

TEST(Exchanges, WithoutAResponseAreRefusedForWhatTheRequestLacks) {
    for (const char* json : {"", "7", "{}", R"({"a":"transCode"})", R"({"transCode":"600002")",
                             R"({"transCode":"600002"}})", R"({"transCode":"600002",})"}) {
        LogText log;
        log.request(json).after(200).getInfo();
        const std::vector<Exchange> found = exchanges(log);
        ASSERT_EQ(found.size(), 2U);
        EXPECT_EQ(found[0].outcome, Outcome::RequestRefused) << json;
        EXPECT_EQ(found[0].notes.size(), 1U) << json;
    }
}

TEST(Exchanges, TakeUnknownWarningsAlong) {
    const char* first = "sending while the flag of an earlier message is up";
    const char* second = "reply shorter than its length field says (100 of 200)";
    LogText request;
    request.request(R"({"transCode":"600002"})").warning("before anything else").step("[GetInfo] begin");
    request.warning(first).written(message("8001", "")).after(200);
    request.read(message("8001", tag("Ex_RetCode", "000000"))).warning(second).type("8001");
    request.response(response("600002", "000000"), 0).warning("after everything");
    EXPECT_EQ(only(request).outcome, Outcome::Done);
    EXPECT_EQ(only(request).notes, (std::vector<std::string>{"before anything else", first, second}));
    EXPECT_FALSE(only(request).isInterleaved);

    LogText call;
    call.step("[GetLockList] begin").warning(first).written(message("7011", "")).after(200);
    call.read(message("7011", tag("Ex_RetCode", "000000"))).warning(second).type("7011").after(1000);
    call.warning("much later");
    EXPECT_EQ(only(call).outcome, Outcome::Done);
    EXPECT_EQ(only(call).notes, (std::vector<std::string>{first, second}));
    EXPECT_EQ(only(call).duration(), 200);
}

TEST(Exchanges, CanFailInsideTheLibrary) {
    LogText log = begun("600002", "GetInfo", "8001");
    log.warning("out of memory").response(R"({"pRetCode":"","transCode":"600002"})", 1);
    EXPECT_EQ(only(log).outcome, Outcome::InternalFailure);
    EXPECT_EQ(only(log).notes, std::vector<std::string>{"out of memory"});
}

TEST(Exchanges, OfTellersSucceedWithOne) {
    LogText answered = begun("600017", "PDA_GetRegisterUserData", "8017");
    answered.read(message("8017", tag("Ex_RetCode", "000000"))).type("8017");
    answered.step("[get PDA register usr info]: 000000").response(response("600017", "000000"), 1);
    EXPECT_EQ(only(answered).outcome, Outcome::Done);

    LogText silent = begun("600017", "PDA_GetRegisterUserData", "8017");
    silent.after(4900).read("").step("Read XML: time out ").response(response("600017", "000060"), -1);
    EXPECT_EQ(only(silent).outcome, Outcome::NoReply);

    LogText notSent;
    notSent.request(R"({"transCode":"600018"})").step("[PDA_SendUserAuthenticationResult] begin");
    notSent.info("hid device is not open").response(response("600018", ""), -1);
    EXPECT_EQ(only(notSent).outcome, Outcome::NotSent);
}

TEST(Exchanges, OfFilesHaveManyMessages) {
    LogText log = begun("600015", "ReadFileDataToPDA", "8015");
    for (int packet = 0; packet < 3; ++packet) {
        log.read(message("8015", tag("Ex_RetCode", "000007"))).type("8015");
        log.written(message("8015", kPda)).after(100);
    }
    log.step("data send error. already send:3 times").response(response("600015", "000007"), 6);
    const Exchange exchange = only(log);
    EXPECT_EQ(exchange.outcome, Outcome::TransferRefused);
    EXPECT_EQ(exchange.messagesSent, 4);
    EXPECT_EQ(exchange.messagesReceived, 3);

    LogText tooShort;
    tooShort.request(R"({"transCode":"600015"})")
        .step("[ReadFileDataToPDA] begin")
        .step("file is too short:0102");
    EXPECT_EQ(only(tooShort.response(response("600015", ""), 5)).outcome, Outcome::TooShort);
}

TEST(Exchanges, CanBeDirectCalls) {
    LogText log;
    log.step("[GetLockList] begin").written(message("7011", "")).after(110);
    log.read(message("7011", tag("Ex_RetCode", "000000"))).type("7011").after(1000);
    log.step("[GetLockInfo] begin").written(message("7016", "")).after(4900).read("").after(1000);
    log.step("[ReadLockRes] begin").info("hid device is not open").after(1000);
    log.step("[Init] begin").written(message("8002", kPda)).after(4900).read("").after(4000);
    log.read(message("8002", tag("Ex_RetCode", "000003"))).type("8002").after(1000);
    log.step("[SyncHandoverDotData1] begin").step("[GetRandomNumber] begin");
    log.step("[GetLoginData] begin").after(1000).step("user login info");
    log.info("SyncLoginResult SendData pre: " + message("9002", kPda)).written(message("9002", kPda));
    const std::vector<Exchange> found = exchanges(log);
    const std::vector<std::pair<std::string, Outcome>> expected{
        {"GetLockList", Outcome::Done},          {"GetLockInfo", Outcome::NoReply},
        {"ReadLockRes", Outcome::NotSent},       {"Init", Outcome::TerminalRefused},
        {"SyncHandoverDotData1", Outcome::Done}, {"GetRandomNumber", Outcome::Done},
        {"GetLoginData", Outcome::Done},         {"SyncLoginResult", Outcome::Done},
    };
    ASSERT_EQ(found.size(), expected.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
        EXPECT_EQ(found[i].member->member, expected[i].first);
        EXPECT_EQ(found[i].outcome, expected[i].second) << expected[i].first;
        EXPECT_EQ(found[i].origin, Origin::Direct) << expected[i].first;
        EXPECT_FALSE(found[i].result) << expected[i].first;
        EXPECT_FALSE(found[i].isInterleaved) << expected[i].first;
    }
    EXPECT_EQ(found[0].duration(), 110);
    EXPECT_EQ(found[6].duration(), 1000);
}

TEST(Exchanges, CanBeginAtTheTerminal) {
    LogText log;
    log.read("").read(message("9001", kPda + tag("Ex_Label", "B1"))).after(20);
    log.step("[ReceiveScanResult] begin").written(message("9001", tag("Ex_RetCode", "000000"))).after(1000);
    log.read(message("9003", kPda)).step("[ReceiveRandomNumber] begin").step("Read XML:-");
    log.written(message("9001", tag("Ex_RetCode", "000000"))).after(1000);
    log.read(message("9002", kPda)).step("[ReceiveLoginData] begin").step("Read XML:-").after(1000);
    log.read(message("9004", kPda))
        .after(30)
        .written(message("9004", tag("Ex_RetCode", "000000")))
        .after(1000);
    log.read(message("9005", kPda)).step("[ReceiveHandoverDotData] begin").info("hid device is not open");
    const std::vector<Exchange> found = exchanges(log);
    ASSERT_EQ(found.size(), 5U);
    const std::vector<std::string> types{"9001", "9003", "9002", "9004", "9005"};
    for (std::size_t i = 0; i < found.size(); ++i) {
        EXPECT_EQ(found[i].origin, Origin::Terminal) << i;
        EXPECT_EQ(found[i].type, types[i]);
        EXPECT_EQ(found[i].outcome, i == 4 ? Outcome::NotSent : Outcome::Done) << i;
        EXPECT_NE(found[i].received, "") << i;
        EXPECT_FALSE(found[i].lacksBeginning) << i;
    }
    EXPECT_EQ(found[0].duration(), 20);
    EXPECT_EQ(found[3].member->member, "ReceiveInventoryData");
    EXPECT_EQ(found[3].duration(), 30);
}

TEST(Exchanges, MayBeUnfinished) {
    EXPECT_EQ(only(begun("600002", "GetInfo", "8001")).outcome, Outcome::Unfinished);
    LogText crashed = begun("600002", "GetInfo", "8001");
    crashed.after(300).getInfo().after(60000).getInfo();
    const std::vector<Exchange> found = exchanges(crashed);
    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(found[0].outcome, Outcome::Unfinished);
    EXPECT_EQ(found[1].outcome, Outcome::Done);
    EXPECT_EQ(found[2].outcome, Outcome::Done);
    EXPECT_FALSE(found[1].isInterleaved || found[2].isInterleaved);
}

/// With a library that waits for whole replies.
TEST(Exchanges, MayWaitLongForTheRestOfAReply) {
    LogText log = begun("600002", "GetInfo", "8001");
    log.after(64000).step("[GetLockList] begin");
    log.read(message("8001", tag("Ex_RetCode", "000000")))
        .type("8001")
        .response(response("600002", "000000"), 0);
    ASSERT_EQ(exchanges(log).size(), 2U);
    EXPECT_EQ(exchanges(log)[0].outcome, Outcome::Done);
    EXPECT_EQ(exchanges(log)[0].duration(), 64100);
}

TEST(Exchanges, MayLackTheirBeginning) {
    LogText whole;
    whole.getInfo();
    for (const char* first : {"600002 SendData pre: ", "Write XML: ", "outJson:"}) {
        const std::size_t position = whole.text().find(first) - stamp(0).size() - 11;
        LogText rest;
        rest.raw(whole.text().substr(position));
        const Exchange exchange = only(rest);
        EXPECT_TRUE(exchange.lacksBeginning) << first;
        EXPECT_EQ(exchange.code, "600002") << first;
        EXPECT_EQ(exchange.outcome, Outcome::Done) << first;
        EXPECT_EQ(exchange.member->member, "GetInfo") << first;
    }
}

TEST(Exchanges, OfTwoHostsAreToldApart) {
    LogText log;
    log.request(R"({"transCode":"600002"})").request(R"({"transCode":"600013"})");
    log.step("[GetInfo] begin").step("[GetKeyVerificationValue] begin");
    log.written(message("8013", kPda)).written(message("8001", "")).after(100);
    log.read(message("8001", tag("Ex_RetCode", "000000"))).read(message("8013", tag("Ex_RetCode", "000004")));
    log.response(response("600002", "000000"), 0).after(50).response(response("600013", "000004"), 0);
    const std::vector<Exchange> found = exchanges(log);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].code, "600002");
    EXPECT_EQ(found[0].resultCode, "000000");
    EXPECT_EQ(found[0].duration(), 100);
    EXPECT_EQ(found[1].code, "600013");
    EXPECT_EQ(found[1].outcome, Outcome::TerminalRefused);
    EXPECT_EQ(found[1].duration(), 150);
    EXPECT_TRUE(found[0].isInterleaved && found[1].isInterleaved);
}

TEST(Exchanges, OfTwoHostsWithTheSameRequestStayTwo) {
    LogText log;
    log.request(R"({"transCode":"600002"})").request(R"({"transCode":"600002"})");
    log.step("[GetInfo] begin")
        .step("[GetInfo] begin")
        .written(message("8001", ""))
        .written(message("8001", ""));
    const std::string reply = message("8001", tag("Ex_RetCode", "000000"));
    log.read(reply)
        .read(reply)
        .response(response("600002", "000000"), 0)
        .response(response("600002", "000000"), 0);
    const std::vector<Exchange> found = exchanges(log);
    ASSERT_EQ(found.size(), 2U);
    for (const Exchange& exchange : found) {
        EXPECT_EQ(exchange.outcome, Outcome::Done);
        EXPECT_EQ(exchange.messagesSent, 1);
        EXPECT_EQ(exchange.messagesReceived, 1);
    }
}

TEST(Exchanges, ImitationsMakeNone) {
    LogText fake;
    fake.getInfo();
    LogText log = begun("600003", "WriteBagNumber", "8003");
    log.read(message("8003", tag("Ex_Tid", "\n" + fake.text()) + tag("Ex_RetCode", "000000"))).type("8003");
    log.response(response("600003", "000000"), 0);
    EXPECT_EQ(only(log).code, "600003");
    EXPECT_EQ(only(log).resultCode, "000000");
}

TEST(Exchanges, AreNotMadeOfGarbage) {
    LogText log;
    log.raw("garbage\n")
        .info("Read XML:")
        .info("Write XML: ")
        .step("[] begin")
        .step("outJson:")
        .step("inJson4:");
    log.step("[Nobody] begin").info(" SendData pre: ").step("Xml Type: len:0").raw(std::string(99, '\0'));
    EXPECT_LE(exchanges(log).size(), 4U);
    for (const Exchange& exchange : exchanges(log)) {
        EXPECT_NE(exchange.outcome, Outcome::Done);
    }
}

} // namespace

} // namespace pdactl::log::test
