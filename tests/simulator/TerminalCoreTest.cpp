#include "BareClient.h"

#include "core/Terminal.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <variant>
#include <vector>

namespace {

using namespace std::chrono_literals;
using pdasim::Fault;
using pdasim::Terminal;
using pdasim::TimedStep;
using pdasim::WriteOutcome;
using pdasim::test::request;
using Texts = std::vector<std::string>;

constexpr std::string_view kNow = "20260304050607";

std::string text(const TimedStep& step) {
    const auto* send = std::get_if<pdasim::SendText>(&step.step);
    return send == nullptr ? "(nothing sent)" : send->text;
}

bool unplugs(const TimedStep& step) {
    return std::holds_alternative<pdasim::Unplug>(step.step);
}

bool replugs(const TimedStep& step) {
    return std::holds_alternative<pdasim::Replug>(step.step);
}

const std::string kReply = "0002418001QEV   000000000000000000000000        05"
                           "<Ex_TrTime>20260304050607</Ex_TrTime><Ex_SeqNo>0001</Ex_SeqNo>"
                           "<Ex_EIMI>860123456789012</Ex_EIMI><Ex_BleVer>BLE-1.4.2</Ex_BleVer>"
                           "<Ex_PdaVer>PDA-2.0.7</Ex_PdaVer><Ex_RetCode>000000</Ex_RetCode>";

/// A terminal whose first message, an information request, has met a fault.
class FaultyTerminal {
public:
    explicit FaultyTerminal(const Fault& fault) {
        m_terminal.addFault("8001", fault);
        m_outcome = m_terminal.handleWrite(request("8001", 1), kNow);
    }

    const WriteOutcome& outcome() const { return m_outcome; }
    const std::vector<TimedStep>& steps() const { return m_outcome.steps; }
    Terminal& terminal() { return m_terminal; }

private:
    Terminal m_terminal;
    WriteOutcome m_outcome;
};

TEST(TerminalCore, AnswersAnInformationRequest) {
    Terminal terminal;
    const WriteOutcome outcome = terminal.handleWrite(request("8001", 1), kNow);
    EXPECT_EQ(outcome.error, 0);
    EXPECT_EQ(outcome.accepted, 112U);
    ASSERT_EQ(outcome.steps.size(), 1U);
    EXPECT_EQ(outcome.steps[0].after, 0ms);
    EXPECT_EQ(text(outcome.steps[0]), kReply);
    EXPECT_EQ(terminal.received(), Texts{request("8001", 1)});
    EXPECT_EQ(terminal.violations(), Texts());
}

TEST(TerminalCore, AnswersAnInitialisationAndRemembersIt) {
    Terminal terminal;
    terminal.state().identity.vendor = "ACME";
    const WriteOutcome outcome =
        terminal.handleWrite(request("8002", 3, "<Ex_PdaSn>P1</Ex_PdaSn><Ex_Factory>F1</Ex_Factory>"), kNow);
    ASSERT_EQ(outcome.steps.size(), 1U);
    EXPECT_EQ(text(outcome.steps[0]).substr(6, 4), "8002");
    EXPECT_EQ(text(outcome.steps[0]).substr(112),
              "<Ex_EIMI>860123456789012</Ex_EIMI><Ex_Vender>ACME</Ex_Vender>"
              "<Ex_RetCode>000000</Ex_RetCode>");
    EXPECT_EQ(terminal.state().assignedNumber, "P1");
    EXPECT_EQ(terminal.state().factory, "F1");
}

TEST(TerminalCore, DoesNotAnswerWhatItDoesNotKnow) {
    Terminal terminal;
    EXPECT_TRUE(terminal.handleWrite(request("8999", 1), kNow).steps.empty());
    EXPECT_TRUE(terminal.handleWrite(request("7017", 2), kNow).steps.empty());
    EXPECT_EQ(terminal.violations(), Texts());
    EXPECT_TRUE(terminal.handleWrite("8001", kNow).steps.empty());
    EXPECT_EQ(terminal.takeViolations().size(), 1U);
    EXPECT_EQ(terminal.violations(), Texts());
}

TEST(TerminalCore, AnswersAMessageThatOnlyBreaksARule) {
    Terminal terminal;
    (void)terminal.handleWrite(request("8001", 1), kNow);
    EXPECT_EQ(terminal.handleWrite(request("8001", 3), kNow).steps.size(), 1U);
    EXPECT_EQ(terminal.violations(), Texts{"message 2 of type 8001: Ex_SeqNo is 0003 after 1"});
}

TEST(Faults, Silence) {
    EXPECT_TRUE(FaultyTerminal(Fault().silence()).steps().empty());
}

TEST(Faults, Delay) {
    const FaultyTerminal faulty(Fault().delay(250ms));
    ASSERT_EQ(faulty.steps().size(), 1U);
    EXPECT_EQ(faulty.steps()[0].after, 250ms);
}

TEST(Faults, WrongType) {
    std::string expected = kReply;
    expected.replace(6, 4, "8002");
    EXPECT_EQ(text(FaultyTerminal(Fault().replyType("8002")).steps().at(0)), expected);
}

TEST(Faults, SplitWithPauses) {
    const FaultyTerminal faulty(Fault().split(3, 20ms).delay(5ms));
    ASSERT_EQ(faulty.steps().size(), 3U);
    EXPECT_EQ(text(faulty.steps()[0]) + text(faulty.steps()[1]) + text(faulty.steps()[2]), kReply);
    EXPECT_EQ(text(faulty.steps()[0]).size(), 80U);
    EXPECT_EQ(faulty.steps()[0].after, 5ms);
    EXPECT_EQ(faulty.steps()[1].after, 25ms);
    EXPECT_EQ(faulty.steps()[2].after, 45ms);
}

TEST(Faults, TwoMessagesBackToBack) {
    const FaultyTerminal repeated(Fault().repeatReply());
    ASSERT_EQ(repeated.steps().size(), 2U);
    EXPECT_EQ(text(repeated.steps()[1]), kReply);
    EXPECT_EQ(repeated.steps()[1].after, 0ms);
    const FaultyTerminal followed(Fault().followedBy("more"));
    ASSERT_EQ(followed.steps().size(), 2U);
    EXPECT_EQ(text(followed.steps()[0]), kReply);
    EXPECT_EQ(text(followed.steps()[1]), "more");
}

TEST(Faults, UnpluggedBeforeOrAfterTheReply) {
    const FaultyTerminal before(Fault().unplugBeforeReply(30ms));
    ASSERT_EQ(before.steps().size(), 2U);
    EXPECT_TRUE(unplugs(before.steps()[0]));
    EXPECT_TRUE(replugs(before.steps()[1]));
    EXPECT_EQ(before.steps()[1].after, 30ms);
    const FaultyTerminal after(Fault().unplugAfterReply());
    ASSERT_EQ(after.steps().size(), 2U);
    EXPECT_EQ(text(after.steps()[0]), kReply);
    EXPECT_TRUE(unplugs(after.steps()[1]));
}

TEST(Faults, ShortAndRefusedWritesAreNotAnsweredButKeptAndCounted) {
    FaultyTerminal shortened(Fault().shortWrite(100));
    EXPECT_EQ(shortened.outcome().accepted, 100U);
    EXPECT_TRUE(shortened.steps().empty());
    EXPECT_EQ(shortened.terminal().received(), Texts{request("8001", 1)});
    FaultyTerminal refused(Fault().refuseWrite(EIO));
    EXPECT_EQ(refused.outcome().error, EIO);
    EXPECT_TRUE(refused.steps().empty());
    EXPECT_EQ(refused.terminal().received(), Texts{request("8001", 1)});
    EXPECT_EQ(refused.terminal().handleWrite(request("8001", 2), kNow).steps.size(), 1U);
    EXPECT_EQ(refused.terminal().violations(), Texts());
}

TEST(Faults, MissingReplacedAndAddedTags) {
    const std::string veryLong(20000, 'x');
    const std::string reply = text(FaultyTerminal(Fault()
                                                      .dropTag("Ex_BleVer")
                                                      .dropTag("Ex_None")
                                                      .setTag("Ex_EIMI", veryLong)
                                                      .setTag("Ex_PdaVer", std::string("\xFF\x00<", 3))
                                                      .setTag("Ex_New", "n"))
                                       .steps()
                                       .at(0));
    EXPECT_EQ(reply.find("Ex_BleVer"), std::string::npos);
    EXPECT_NE(reply.find("<Ex_EIMI>" + veryLong + "</Ex_EIMI>"), std::string::npos);
    EXPECT_NE(reply.find(std::string("<Ex_PdaVer>\xFF\x00<</Ex_PdaVer>", 26)), std::string::npos);
    EXPECT_EQ(reply.substr(reply.size() - 18), "<Ex_New>n</Ex_New>");
}

TEST(Faults, RawReplyComesByteForByteForUnknownTypesToo) {
    Terminal terminal;
    terminal.addFault(Terminal::AnyType, Fault().rawReply("as it is"));
    const WriteOutcome outcome = terminal.handleWrite(request("8999", 1), kNow);
    ASSERT_EQ(outcome.steps.size(), 1U);
    EXPECT_EQ(text(outcome.steps[0]), "as it is");
}

TEST(Faults, StrikeInTurnOnTheirTypeAndAsOftenAsTheyAreTold) {
    Terminal terminal;
    terminal.addFault("8001", Fault().silence().times(2));
    terminal.addFault("8001", Fault().replyType("8002"));
    terminal.addFault("8002", Fault().silence().always());
    auto answer = [&terminal, sequence = 0](std::string_view type) mutable {
        const std::string body =
            type == "8002" ? "<Ex_PdaSn></Ex_PdaSn><Ex_Factory></Ex_Factory>" : std::string();
        const WriteOutcome outcome = terminal.handleWrite(request(type, ++sequence, body), kNow);
        return outcome.steps.empty() ? std::string() : text(outcome.steps[0]).substr(6, 4);
    };
    EXPECT_EQ(answer("8001"), "");
    EXPECT_EQ(answer("8002"), "");
    EXPECT_EQ(answer("8001"), "");
    EXPECT_EQ(answer("8001"), "8002");
    EXPECT_EQ(answer("8001"), "8001");
    EXPECT_EQ(answer("8002"), "");
    terminal.clearFaults();
    EXPECT_EQ(answer("8002"), "8002");
}

} // namespace
