#include "TestTerminal.h"
#include "analysis/ResultStores.h"
#include "tests/analysis/DispatcherFixture.h"

#include <algorithm>
#include <chrono>

namespace {

using namespace pdalink::test;
using Clock = std::chrono::steady_clock;

class DispatcherAnswer : public DispatcherTest {
protected:
    /// The last entry of the log.
    static std::string lastLogged() {
        const std::vector<std::string> entries = logged();
        return entries.empty() ? std::string() : entries.back();
    }

    static std::string answerLine(const std::string& response, int result) {
        return "1 outJson:" + response + " outLen:" + std::to_string(response.size()) +
               " ret:" + std::to_string(result);
    }

    static int countLogged(const std::string& part) {
        const std::vector<std::string> entries = logged();
        return static_cast<int>(
            std::count_if(entries.begin(), entries.end(), [&part](const std::string& entry) {
                return entry.find(part) != std::string::npos;
            }));
    }

    void expectAnswer(const Answer& answer, const std::string& response, int result) {
        EXPECT_EQ(answer.text(), response);
        EXPECT_EQ(answer.length, static_cast<int>(response.size()));
        EXPECT_EQ(answer.result, result);
        EXPECT_TRUE(answer.restUntouched());
        EXPECT_EQ(lastLogged(), answerLine(response, result));
        EXPECT_EQ(countLogged("info msg:"), 0);
    }
};

pdasim::Identity identity() {
    pdasim::Identity identity;
    identity.eimi = "EIMI-1";
    identity.bleVersion = "B2";
    identity.pdaVersion = "P3";
    identity.vendor = "V4";
    identity.returnCode = "000000";
    return identity;
}

TEST_F(DispatcherAnswer, HasItsKeysInAscendingOrder) {
    TestTerminal terminal;
    terminal.setIdentity(identity());
    expectAnswer(
        ask(kGetInfo),
        R"({"pBleVersion":"B2","pPDAVersion":"P3","pRetCode":"000000","pSN":"EIMI-1","transCode":"600002"})",
        0);
}

TEST_F(DispatcherAnswer, HasTheMembersOfItsTransaction) {
    TestTerminal terminal;
    terminal.setIdentity(identity());
    expectAnswer(ask(R"({"transCode":"600001","pdaNumber":"12","pFactory":"34"})"),
                 R"({"pRetCode":"000000","pSN":"EIMI-1","pVender":"V4","transCode":"600001"})", 0);
    EXPECT_EQ(terminal.state().assignedNumber, "12");
    EXPECT_EQ(terminal.state().factory, "34");
}

TEST_F(DispatcherAnswer, DoesNotDependOnTheOrderOfTheRequest) {
    TestTerminal terminal;
    EXPECT_EQ(ask(R"({"pFactory":"34","x":1,"pdaNumber":"12","transCode":"600001"})").result, 0);
    EXPECT_EQ(terminal.state().assignedNumber, "12");
    EXPECT_EQ(terminal.state().factory, "34");
}

TEST_F(DispatcherAnswer, EchoesTheCodeOnly) {
    const TestTerminal terminal;
    const Answer answer = ask(R"({"transCode":"600002\u0000x","extra":"member"})");
    EXPECT_EQ(answer.result, 0);
    EXPECT_NE(answer.text().find(R"("transCode":"600002"})"), std::string::npos) << answer.text();
    EXPECT_EQ(answer.text().find("extra"), std::string::npos);
}

TEST_F(DispatcherAnswer, LogsTheRequestFirst) {
    const TestTerminal terminal;
    EXPECT_EQ(ask(kGetInfo, 5).result, 0);
    const std::vector<std::string> entries = logged();
    ASSERT_GE(entries.size(), 3U);
    EXPECT_EQ(entries[0], requestLine(kGetInfo));
    EXPECT_EQ(entries[1], "1 [GetInfo] begin");
}

TEST_F(DispatcherAnswer, TakesInputsWithEscapesAndUtf8) {
    TestTerminal terminal;
    EXPECT_EQ(ask(R"({"transCode":"600001","pdaNumber":"a\u5f20\tb","pFactory":"三"})").result, 0);
    EXPECT_EQ(terminal.state().assignedNumber, "a张\tb");
    EXPECT_EQ(terminal.state().factory, "三");
    // The length field counts characters, as the protocol has it for its plain ASCII; here it is told off.
    terminal.takeViolations();
}

TEST_F(DispatcherAnswer, EndsAnInputAtAnEmbeddedNul) {
    TestTerminal terminal;
    EXPECT_EQ(ask(R"({"transCode":"600001","pdaNumber":"12\u0000xy","pFactory":"\u0000"})").result, 0);
    EXPECT_EQ(terminal.state().assignedNumber, "12");
    EXPECT_EQ(terminal.state().factory, "");
}

TEST_F(DispatcherAnswer, TakesEmptyInputs) {
    TestTerminal terminal;
    EXPECT_EQ(ask(R"({"transCode":"600001","pdaNumber":"","pFactory":""})").result, 0);
    ASSERT_EQ(terminal.received().size(), 1U);
    EXPECT_NE(terminal.received()[0].find("<Ex_PdaSn></Ex_PdaSn><Ex_Factory></Ex_Factory>"),
              std::string::npos);
}

TEST_F(DispatcherAnswer, CountsTheFirstOfTwoInputs) {
    TestTerminal terminal;
    EXPECT_EQ(ask(R"({"transCode":"600001","pdaNumber":"12","pdaNumber":"34","pFactory":"5"})").result, 0);
    EXPECT_EQ(terminal.state().assignedNumber, "12");
}

TEST_F(DispatcherAnswer, EscapesWhatJsonHasToEscape) {
    TestTerminal terminal;
    terminal.addFault("8001", pdasim::Fault().setTag("Ex_EIMI", "a\"b\\c\td"));
    const Answer answer = ask(kGetInfo);
    EXPECT_NE(answer.text().find(R"("pSN":"a\"b\\c\td")"), std::string::npos) << answer.text();
}

TEST_F(DispatcherAnswer, IsUtf8AndCountedInBytes) {
    TestTerminal terminal;
    terminal.addFault("8001", pdasim::Fault().setTag("Ex_EIMI", "张三"));
    const Answer answer = ask(kGetInfo);
    EXPECT_NE(answer.text().find(R"("pSN":"张三")"), std::string::npos) << answer.text();
    EXPECT_EQ(answer.length, static_cast<int>(answer.text().size()));
}

TEST_F(DispatcherAnswer, PassesTheTerminalsOwnCodeOnWithResultZero) {
    TestTerminal terminal;
    pdasim::Identity refusing = identity();
    refusing.returnCode = "000017";
    terminal.setIdentity(refusing);
    const Answer answer = ask(kGetInfo);
    EXPECT_EQ(answer.result, 0);
    EXPECT_NE(answer.text().find(R"("pRetCode":"000017")"), std::string::npos) << answer.text();
}

TEST_F(DispatcherAnswer, StartsEveryCallWithEmptyOutputs) {
    TestTerminal terminal;
    terminal.setIdentity(identity());
    EXPECT_NE(ask(kGetInfo).text().find("EIMI-1"), std::string::npos);
    terminal.addFault("8001", pdasim::Fault().dropTag("Ex_EIMI"));
    EXPECT_NE(ask(kGetInfo).text().find(R"("pSN":"")"), std::string::npos);
}

TEST_F(DispatcherAnswer, HasItsMembersWithoutATerminalToo) {
    const pdasim::TestBed noDevices;
    const auto begin = Clock::now();
    expectAnswer(ask(kGetInfo),
                 R"({"pBleVersion":"","pPDAVersion":"","pRetCode":"","pSN":"","transCode":"600002"})", -1);
    const auto time = Clock::now() - begin;
    EXPECT_GE(time, std::chrono::seconds(1)) << "the time of opening";
    EXPECT_LT(time, std::chrono::milliseconds(1000 + 4900)) << "nothing more is waited for";
    EXPECT_EQ(m_PerformTasksYN, 1);
    EXPECT_EQ(countLogged("hid device is not open"), 1);
}

TEST_F(DispatcherAnswer, OfInitHasItsMembersWithoutATerminalToo) {
    const pdasim::TestBed noDevices;
    expectAnswer(ask(R"({"transCode":"600001","pdaNumber":"1","pFactory":"2"})"),
                 R"({"pRetCode":"","pSN":"","pVender":"","transCode":"600001"})", -1);
}

TEST_F(DispatcherAnswer, OfASilentTerminalHasTheNoDataCode) {
    TestTerminal terminal;
    terminal.addFault("8001", pdasim::Fault().silence());
    expectAnswer(ask(kGetInfo),
                 R"({"pBleVersion":"","pPDAVersion":"","pRetCode":"000060","pSN":"","transCode":"600002"})",
                 2);
}

TEST_F(DispatcherAnswer, OfAWrongReplyHasTheNoDataCode) {
    TestTerminal terminal;
    terminal.addFault("8001", pdasim::Fault().replyType("8002"));
    expectAnswer(ask(kGetInfo),
                 R"({"pBleVersion":"","pPDAVersion":"","pRetCode":"000060","pSN":"","transCode":"600002"})",
                 2);
}

TEST_F(DispatcherAnswer, StoresNoLengthWhereThereIsNoPlaceForIt) {
    const TestTerminal terminal;
    std::string response(200000, '#');
    EXPECT_EQ(CPDAXMLAnalysis().PDA_CommonCall(kGetInfo.c_str(), 0, response.data(), nullptr), 0);
    EXPECT_EQ(response[0], '{');
}

} // namespace
