#include "Conversation.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using pdasim::Fault;
using pdasim::Terminal;
using pdasim::test::Accepted;
using pdasim::test::body;
using pdasim::test::Conversation;
using pdasim::test::tagsOf;
using Texts = std::vector<std::string>;

class ReplyFaults : public testing::Test {
protected:
    void meet(const Fault& fault) { host.terminal.addFault("8004", fault); }

    /// A start command; whether its answer came and what it was.
    std::string start() { return host.answer("8004", tagsOf("Ex_PdaSn= Ex_Cmd=1")); }

    Conversation host;
};

const std::string kRefused = body({{"Ex_RetCode", "000009"}});

TEST_F(ReplyFaults, ARefusalChangesTheCodeAndNothingElse) {
    meet(Fault().refuse("000009"));
    EXPECT_EQ(start(), kRefused);
    EXPECT_FALSE(host.terminal.state().scan.running);
    EXPECT_EQ(start(), Accepted);
    EXPECT_TRUE(host.terminal.state().scan.running);
    host.terminal.addFault("8003", Fault().refuse("000009"));
    EXPECT_EQ(host.answer("8003", tagsOf("Ex_Label= Ex_OrgNm= Ex_BagType=")),
              body("Ex_Tid=TID0001 Ex_RetCode=000009"));
    EXPECT_TRUE(host.terminal.state().writtenLabels.empty());
}

TEST_F(ReplyFaults, ARefusalIsAppendedWhereThereIsNoCode) {
    host.terminal.addFault("8005", Fault().refuse("000009"));
    EXPECT_EQ(host.answer("8005", {{"Ex_PdaSn", ""}}), body("Ex_Label= Ex_ScanState=0 Ex_RetCode=000009"));
}

TEST_F(ReplyFaults, ASilentTerminalStillActs) {
    meet(Fault().silence());
    EXPECT_EQ(start(), "(no reply)");
    EXPECT_TRUE(host.terminal.state().scan.running);
}

TEST_F(ReplyFaults, ARequestCanBeMisread) {
    meet(Fault().misread("Ex_Cmd", "7").misread("Ex_None", ""));
    EXPECT_EQ(start(), body({{"Ex_RetCode", "000001"}}));
    EXPECT_EQ(host.terminal.messages().at(0).value("Ex_Cmd"), "1");
    EXPECT_EQ(start(), Accepted);
}

TEST_F(ReplyFaults, ChangesAreMadeInTheOrderInWhichTheyAreTold) {
    meet(Fault()
             .dropTag("Ex_RetCode")
             .setTag("Ex_A", "1")
             .setTag("Ex_RetCode", "\xC3\x28")
             .setTag("Ex_A", "2"));
    EXPECT_EQ(start(), body({{"Ex_A", "2"}, {"Ex_RetCode", "\xC3\x28"}}));
    meet(Fault().dropTag("Ex_TrTime").dropTag("Ex_SeqNo"));
    const std::string reply = host.ask("8004", body("Ex_PdaSn= Ex_Cmd=1"));
    EXPECT_EQ(reply.substr(50), Accepted);
}

TEST_F(ReplyFaults, CanBeginWithALaterMessage) {
    meet(Fault().refuse("000009").from(3).times(2));
    Texts answers;
    for (int i = 0; i < 5; ++i) {
        answers.push_back(start());
    }
    EXPECT_EQ(answers, (Texts{Accepted, Accepted, kRefused, kRefused, Accepted}));
}

TEST_F(ReplyFaults, CountOnlyTheMessagesOfTheirKind) {
    meet(Fault().refuse("000009").from(2).always());
    (void)host.answer("8001");
    EXPECT_EQ(start(), Accepted);
    (void)host.answer("8001");
    EXPECT_EQ(start(), kRefused);
    EXPECT_EQ(start(), kRefused);
    host.terminal.clearFaults();
    host.terminal.addFault(Terminal::AnyType, Fault().refuse("000009").from(2));
    EXPECT_EQ(start(), Accepted);
    EXPECT_NE(host.answer("8001").find("000009"), std::string::npos);
}

TEST_F(ReplyFaults, CountTheMessagesThatMetAnotherFaultToo) {
    meet(Fault().setTag("Ex_RetCode", "1"));
    meet(Fault().setTag("Ex_RetCode", "2").from(2));
    meet(Fault().setTag("Ex_RetCode", "3"));
    EXPECT_EQ(start(), body({{"Ex_RetCode", "1"}}));
    EXPECT_EQ(start(), body({{"Ex_RetCode", "2"}}));
    EXPECT_EQ(start(), body({{"Ex_RetCode", "3"}}));
    EXPECT_EQ(start(), Accepted);
}

TEST_F(ReplyFaults, CanBeLimitedToMessagesOfAKind) {
    const auto valueIs = [](const std::string& name, const std::string& value) {
        return [name, value](const pdasim::ParsedMessage& message) { return message.value(name) == value; };
    };
    meet(Fault()
             .when(valueIs("Ex_Cmd", "1"))
             .when(valueIs("Ex_PdaSn", "P"))
             .refuse("000009")
             .from(2)
             .always());
    const auto command = [this](const std::string& number, const std::string& text) {
        return host.answer("8004", {{"Ex_PdaSn", number}, {"Ex_Cmd", text}});
    };
    EXPECT_EQ(command("P", "1"), Accepted);
    EXPECT_EQ(command("P", "0"), Accepted);
    EXPECT_EQ(command("Q", "1"), Accepted);
    EXPECT_EQ(command("P", "1"), kRefused);
}

TEST_F(ReplyFaults, ATagCanBeVeryLong) {
    const std::string list(1000000, ';');
    host.terminal.addFault("8005", Fault().setTag("Ex_Label", list));
    const std::string reply = host.ask("8005", body({{"Ex_PdaSn", ""}}));
    EXPECT_NE(reply.find("<Ex_Label>" + list + "</Ex_Label>"), std::string::npos);
    EXPECT_EQ(reply.substr(0, 10), "9999998005");
}

} // namespace
