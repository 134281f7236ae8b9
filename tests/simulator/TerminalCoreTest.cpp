#include "Conversation.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

namespace {

using pdasim::Fault;
using pdasim::Terminal;
using pdasim::WriteOutcome;
using pdasim::test::Accepted;
using pdasim::test::body;
using pdasim::test::Conversation;
using pdasim::test::request;
using pdasim::test::shown;
using Texts = std::vector<std::string>;

TEST(TerminalCore, AnswersAnInformationRequest) {
    Terminal terminal;
    const WriteOutcome outcome = terminal.handleWrite(request("8001", 1), Conversation::Now);
    EXPECT_EQ(outcome.error, 0);
    EXPECT_EQ(outcome.accepted, 112U);
    EXPECT_EQ(shown(outcome.steps), "0:8001/000000");
    EXPECT_EQ(std::get<pdasim::SendText>(outcome.steps.at(0).step).text,
              "0002418001QEV   000000000000000000000000        05"
              "<Ex_TrTime>20260304050607</Ex_TrTime><Ex_SeqNo>0001</Ex_SeqNo>"
              "<Ex_EIMI>860123456789012</Ex_EIMI><Ex_BleVer>BLE-1.4.2</Ex_BleVer>"
              "<Ex_PdaVer>PDA-2.0.7</Ex_PdaVer><Ex_RetCode>000000</Ex_RetCode>");
    EXPECT_EQ(terminal.received(), Texts{request("8001", 1)});
    EXPECT_EQ(terminal.violations(), Texts());
}

TEST(TerminalCore, DoesNotAnswerWhatItDoesNotKnow) {
    Conversation host;
    EXPECT_EQ(shown(host.send("8999")), "-");
    EXPECT_EQ(shown(host.send("7017")), "-");
    EXPECT_EQ(host.takeViolations(), Texts());
    EXPECT_TRUE(host.terminal.handleWrite("8001", Conversation::Now).steps.empty());
    EXPECT_EQ(host.takeViolations().size(), 1U);
    EXPECT_EQ(host.takeViolations(), Texts());
}

TEST(TerminalCore, AnswersAMessageThatOnlyBreaksARule) {
    Terminal terminal;
    (void)terminal.handleWrite(request("8001", 1), Conversation::Now);
    EXPECT_EQ(shown(terminal.handleWrite(request("8001", 3), Conversation::Now).steps), "0:8001/000000");
    EXPECT_EQ(terminal.violations(), Texts{"message 2 of type 8001: Ex_SeqNo is 0003 after 1"});
}

/// Faults are tested with the rules of scenarios; here is what those cannot say, and what a fault leaves as
/// it is.
class Faults : public testing::Test {
protected:
    void meet(const Fault& fault) { host.terminal.addFault("8004", fault); }

    /// What a start command is answered with.
    std::string start() { return host.answer("8004", body("Ex_PdaSn= Ex_Cmd=1")); }
    static std::string code(const std::string& text) { return body("Ex_RetCode=" + text); }

    Conversation host;
};

TEST_F(Faults, ARefusalChangesTheCodeAndNothingElse) {
    meet(Fault().refuse("000009"));
    EXPECT_EQ(start(), code("000009"));
    EXPECT_FALSE(host.terminal.state().scan.running);
    EXPECT_EQ(start(), Accepted);
    EXPECT_TRUE(host.terminal.state().scan.running);
    host.terminal.addFault("8003", Fault().refuse("000009"));
    host.terminal.addFault("8005", Fault().refuse("000009"));
    host.expect("8003 Ex_Label= Ex_OrgNm= Ex_BagType= -> Ex_Tid=TID0001 Ex_RetCode=000009\n"
                "8005 Ex_PdaSn= -> Ex_Label= Ex_ScanState=1 Ex_RetCode=000009");
    EXPECT_TRUE(host.terminal.state().writtenLabels.empty());
}

TEST_F(Faults, ASilentTerminalStillActs) {
    meet(Fault().silence());
    EXPECT_EQ(start(), "(no reply)");
    EXPECT_TRUE(host.terminal.state().scan.running);
}

TEST_F(Faults, ShortAndRefusedWritesAreNotAnsweredButKeptAndCounted) {
    meet(Fault().shortWrite(100));
    meet(Fault().refuseWrite(EIO));
    const std::string tags = body("Ex_PdaSn= Ex_Cmd=1");
    const WriteOutcome shortened = host.terminal.handleWrite(request("8004", 1, tags), Conversation::Now);
    EXPECT_EQ(shortened.accepted, 100U);
    EXPECT_EQ(shown(shortened.steps), "-");
    const WriteOutcome refused = host.terminal.handleWrite(request("8004", 2, tags), Conversation::Now);
    EXPECT_EQ(refused.error, EIO);
    EXPECT_EQ(shown(refused.steps), "-");
    EXPECT_EQ(host.terminal.received(), (Texts{request("8004", 1, tags), request("8004", 2, tags)}));
    EXPECT_FALSE(host.terminal.state().scan.running);
    EXPECT_EQ(host.takeViolations(), Texts());
}

TEST_F(Faults, ChangesAreMadeInTheOrderInWhichTheyAreTold) {
    meet(Fault()
             .dropTag("Ex_RetCode")
             .dropTag("Ex_None")
             .setTag("Ex_A", "1")
             .setTag("Ex_RetCode", std::string("\xC3\x00<", 3))
             .setTag("Ex_A", "2"));
    EXPECT_EQ(start(), body({{"Ex_A", "2"}, {"Ex_RetCode", std::string("\xC3\x00<", 3)}}));
    meet(Fault().dropTag("Ex_TrTime").dropTag("Ex_SeqNo"));
    EXPECT_EQ(host.ask("8004", body("Ex_PdaSn= Ex_Cmd=1")).substr(50), Accepted);
}

TEST_F(Faults, ATagCanBeVeryLong) {
    const std::string list(1000000, ';');
    host.terminal.addFault("8005", Fault().setTag("Ex_Label", list));
    const std::string reply = host.ask("8005", body("Ex_PdaSn="));
    EXPECT_NE(reply.find("<Ex_Label>" + list + "</Ex_Label>"), std::string::npos);
    EXPECT_EQ(reply.substr(0, 10), "9999998005");
}

TEST_F(Faults, RawReplyComesByteForByteForUnknownTypesToo) {
    host.terminal.addFault(Terminal::AnyType, Fault().rawReply("as it is"));
    EXPECT_EQ(host.ask("8999"), "as it is");
}

TEST_F(Faults, StrikeInTurnAndCountTheMessagesThatMetAnotherFaultToo) {
    meet(Fault().setTag("Ex_RetCode", "1"));
    meet(Fault().setTag("Ex_RetCode", "2").from(2));
    meet(Fault().setTag("Ex_RetCode", "3").times(2));
    EXPECT_EQ((Texts{start(), start(), start(), start(), start()}),
              (Texts{code("1"), code("2"), code("3"), code("3"), Accepted}));
    meet(Fault().silence().always());
    EXPECT_EQ(start(), "(no reply)");
    host.terminal.clearFaults();
    EXPECT_EQ(start(), Accepted);
}

TEST_F(Faults, CountOnlyTheMessagesOfTheirType) {
    meet(Fault().refuse("000009").from(2).always());
    (void)host.answer("8001");
    EXPECT_EQ((Texts{start(), start(), start()}), (Texts{Accepted, code("000009"), code("000009")}));
    host.terminal.clearFaults();
    host.terminal.addFault(Terminal::AnyType, Fault().refuse("000009").from(2));
    EXPECT_EQ(start(), Accepted);
    EXPECT_EQ(shown(host.send("8001")), "0:8001/000009");
}

} // namespace
