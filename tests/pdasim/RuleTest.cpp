#include "Conversation.h"

#include "core/Texts.h"
#include "scenario/Rules.h"
#include "scenario/Scenario.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <variant>
#include <vector>

namespace {

using namespace std::chrono_literals;
using pdasim::Replug;
using pdasim::Rule;
using pdasim::Scenario;
using pdasim::SendText;
using pdasim::TimedStep;
using pdasim::Unplug;
using pdasim::test::body;
using pdasim::test::Conversation;
using pdasim::test::request;

/// A host, and a terminal with these rules.
class Ruled {
public:
    explicit Ruled(const std::string& rules, const std::string& more = {})
        : Ruled(pdasim::readScenario(R"({"name":"x",)" + more + "\"rules\":[" + rules + "]}", "some.json",
                                     ".")) {}
    explicit Ruled(const Scenario& scenario) : Ruled(scenario.rules) { terminal.state() = scenario.state; }
    explicit Ruled(const std::vector<Rule>& rules) {
        for (const Rule& rule : rules) {
            terminal.addFault(rule.type, rule.fault);
        }
    }

    std::vector<TimedStep> ask(const std::string& type, const std::string& requestBody = {}) {
        return terminal.handleWrite(request(type, ++m_sequence, requestBody), Conversation::Now).steps;
    }
    std::vector<TimedStep> writeLabel(const std::string& label) {
        return ask("8003", body({{"Ex_Label", label}, {"Ex_OrgNm", "O"}, {"Ex_BagType", "1"}}));
    }

    pdasim::Terminal terminal;

private:
    int m_sequence = 0;
};

std::string text(const std::vector<TimedStep>& steps) {
    std::string all;
    for (const TimedStep& step : steps) {
        if (const auto* send = std::get_if<SendText>(&step.step); send != nullptr) {
            all += send->text;
        }
    }
    return all;
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

const std::string kAccepted = "<Ex_RetCode>000000</Ex_RetCode>";

TEST(Rules, Refuse) {
    Ruled ruled(R"({"on":"8003","do":{"refuse":"000042"}})");
    EXPECT_TRUE(contains(text(ruled.writeLabel("A")), "<Ex_RetCode>000042</Ex_RetCode>"));
    EXPECT_TRUE(ruled.terminal.state().writtenLabels.empty());
    EXPECT_TRUE(contains(text(ruled.ask("8001")), kAccepted));
}

TEST(Rules, StaySilent) {
    Ruled ruled(R"({"on":"8001","do":{"silent":true}})");
    EXPECT_TRUE(ruled.ask("8001").empty());
    EXPECT_TRUE(ruled.ask("8001").empty());
    EXPECT_FALSE(ruled.writeLabel("A").empty());
}

TEST(Rules, AFalseMemberChangesNothing) {
    Ruled ruled(R"({"on":"8001","do":{"silent":false,"repeat":false,"corruptCrc":false}})");
    EXPECT_EQ(ruled.ask("8001").size(), 1U);
}

TEST(Rules, Delay) {
    Ruled ruled(R"({"on":"8001","do":{"delay":1500}})");
    EXPECT_EQ(ruled.ask("8001").at(0).after, 1500ms);
}

TEST(Rules, Split) {
    Ruled ruled(R"({"on":"8001","do":{"split":{"pieces":3,"pause":20}}})");
    const auto steps = ruled.ask("8001");
    ASSERT_EQ(steps.size(), 3U);
    EXPECT_EQ(steps[1].after - steps[0].after, 20ms);
    EXPECT_TRUE(contains(text(steps), kAccepted));
    Ruled together(R"({"on":"8001","do":{"split":{"pieces":2}}})");
    EXPECT_EQ(together.ask("8001").at(1).after, 0ms);
}

TEST(Rules, AnswerWithTheWrongType) {
    Ruled ruled(R"({"on":"8001","do":{"type":"8002"}})");
    EXPECT_EQ(text(ruled.ask("8001")).substr(6, 4), "8002");
}

TEST(Rules, ReplyWithOtherTags) {
    Ruled ruled(
        R"({"on":"8003","do":{"reply":[{"name":"Ex_Tid","value":"ü"},{"name":"Ex_New","value":"1"}]}})");
    EXPECT_TRUE(
        contains(text(ruled.writeLabel("A")), "<Ex_Tid>ü</Ex_Tid>" + kAccepted + "<Ex_New>1</Ex_New>"));
}

TEST(Rules, DropTags) {
    Ruled ruled(R"({"on":"8001","do":{"drop":["Ex_EIMI","Ex_RetCode"]}})");
    const std::string reply = text(ruled.ask("8001"));
    EXPECT_FALSE(contains(reply, "Ex_EIMI"));
    EXPECT_FALSE(contains(reply, "Ex_RetCode"));
    EXPECT_TRUE(contains(reply, "Ex_BleVer"));
}

TEST(Rules, CorruptTheCheckOfAPacket) {
    Ruled ruled(R"({"on":"8016","times":1,"do":{"corruptCrc":true}})",
                R"("files":[{"command":7,"hex":"0102"}],)");
    const std::string packet = body("Ex_PdaSn= Ex_CmdEx=7 Ex_InfEx= Ex_CurPkt=0");
    const std::string right = "<Ex_HexCheck>" + pdasim::hexCheck("0102") + "</Ex_HexCheck>";
    EXPECT_FALSE(contains(text(ruled.ask("8016", packet)), right));
    EXPECT_TRUE(contains(text(ruled.ask("8016", packet)), right));
}

TEST(Rules, RepeatTheReply) {
    Ruled ruled(R"({"on":"8001","do":{"repeat":true}})");
    const auto steps = ruled.ask("8001");
    ASSERT_EQ(steps.size(), 2U);
    EXPECT_EQ(std::get<SendText>(steps[0].step).text, std::get<SendText>(steps[1].step).text);
}

TEST(Rules, DisconnectAndReconnect) {
    Ruled before(R"({"on":"8001","do":{"disconnect":"before","reconnect":300}})");
    auto steps = before.ask("8001");
    ASSERT_EQ(steps.size(), 2U);
    EXPECT_TRUE(std::holds_alternative<Unplug>(steps[0].step));
    EXPECT_TRUE(std::holds_alternative<Replug>(steps[1].step));
    EXPECT_EQ(steps[1].after, 300ms);
    Ruled after(R"({"on":"8001","do":{"disconnect":"after"}})");
    steps = after.ask("8001");
    ASSERT_EQ(steps.size(), 2U);
    EXPECT_TRUE(contains(text(steps), kAccepted));
    EXPECT_TRUE(std::holds_alternative<Unplug>(steps[1].step));
}

TEST(Rules, ApplyToEveryTypeOrOne) {
    Ruled all(R"({"on":"*","do":{"silent":true}})");
    EXPECT_TRUE(all.ask("8001").empty());
    EXPECT_TRUE(all.writeLabel("A").empty());
}

TEST(Rules, ApplyFromSoMany) {
    Ruled ruled(R"({"on":"8001","from":2,"times":2,"do":{"silent":true}})");
    std::string answered;
    for (int i = 0; i < 5; ++i) {
        answered += ruled.ask("8001").empty() ? '-' : '+';
    }
    EXPECT_EQ(answered, "+--++");
}

TEST(Rules, ApplyToATagsValue) {
    Ruled equal(R"({"on":"8003","tag":{"name":"Ex_Label","equals":"BAD"},"do":{"silent":true}})");
    EXPECT_TRUE(equal.writeLabel("BAD").empty());
    EXPECT_FALSE(equal.writeLabel("BAD2").empty());
    Ruled start(R"({"on":"8003","tag":{"name":"Ex_Label","startsWith":"BAD"},"do":{"silent":true}})");
    EXPECT_TRUE(start.writeLabel("BAD2").empty());
    EXPECT_FALSE(start.writeLabel("NOTBAD").empty());
    Ruled end(R"({"on":"*","tag":{"name":"Ex_Label","endsWith":"BAD"},"do":{"silent":true}})");
    EXPECT_TRUE(end.writeLabel("NOTBAD").empty());
    EXPECT_FALSE(end.writeLabel("BAD2").empty());
    EXPECT_FALSE(end.writeLabel("AD").empty());
    EXPECT_FALSE(end.ask("8001").empty());
}

TEST(Rules, CountOnlyTheMessagesOfTheirCondition) {
    Ruled ruled(
        R"({"on":"8003","tag":{"name":"Ex_Label","equals":"X"},"from":2,"times":1,"do":{"silent":true}})");
    EXPECT_FALSE(ruled.writeLabel("A").empty());
    EXPECT_FALSE(ruled.writeLabel("X").empty());
    EXPECT_FALSE(ruled.writeLabel("A").empty());
    EXPECT_TRUE(ruled.writeLabel("X").empty());
    EXPECT_FALSE(ruled.writeLabel("X").empty());
}

TEST(Rules, TheFirstThatAppliesCounts) {
    Ruled ruled(R"({"on":"8001","times":1,"do":{"delay":1}},{"on":"*","do":{"silent":true}})");
    EXPECT_FALSE(ruled.ask("8001").empty());
    EXPECT_TRUE(ruled.ask("8001").empty());
}

std::string openingOf(const std::string& lock) {
    return "<Ex_LockNum>1</Ex_LockNum><LockList>" +
           body({{"Ex_LockId", lock},
                 {"Ex_Action", "01"},
                 {"Ex_OTCCode", ""},
                 {"Ex_UserA", ""},
                 {"Ex_UserB", ""}}) +
           "</LockList>";
}

TEST(Rules, SeeTheLocksOfAList) {
    Ruled ruled(R"({"on":"7018","tag":{"name":"Ex_LockId","equals":"L2"},"do":{"refuse":"000042"}})");
    EXPECT_TRUE(contains(text(ruled.ask("7018", openingOf("L2"))), "000042"));
    EXPECT_FALSE(contains(text(ruled.ask("7018", openingOf("L1"))), "000042"));
}

/// Every way to put a magic value into a request.
std::vector<std::pair<std::string, std::string>> requestsWith(const std::string& value) {
    return {
        {"8003", body({{"Ex_Label", value}, {"Ex_OrgNm", "O"}, {"Ex_BagType", "1"}})},
        {"8006", body({{"Ex_PdaSn", "P"}, {"Ex_TaskId", value}, {"Ex_Total", "0"}, {"Ex_Label", ""}})},
        {"8009", body({{"Ex_PdaSn", "P"}, {"Ex_TaskId", value}})},
        {"8015", body({{"Ex_PdaSn", "P"},
                       {"Ex_CmdEx", "1"},
                       {"Ex_InfoEx", value},
                       {"Ex_TotalPkt", "1"},
                       {"Ex_CurPkt", "0"},
                       {"Ex_HexVal", "01"},
                       {"Ex_HexCheck", pdasim::hexCheck("01")}})},
        {"8016", body({{"Ex_PdaSn", "P"}, {"Ex_CmdEx", "1"}, {"Ex_InfEx", value}, {"Ex_CurPkt", "0"}})},
        {"7012", body({{"Ex_LockId", value}})},
        {"7018", openingOf(value)},
    };
}

TEST(MagicValues, WorkInEveryRequestThatCarriesThem) {
    Ruled ruled(pdasim::magicRules());
    for (const auto& [type, requestBody] : requestsWith("X-REFUSE")) {
        EXPECT_TRUE(contains(text(ruled.ask(type, requestBody)), "<Ex_RetCode>000099</Ex_RetCode>")) << type;
    }
    for (const auto& [type, requestBody] : requestsWith("X-SILENT")) {
        EXPECT_TRUE(ruled.ask(type, requestBody).empty()) << type;
    }
    for (const auto& [type, requestBody] : requestsWith("X-SLOW")) {
        EXPECT_EQ(ruled.ask(type, requestBody).at(0).after, 3s) << type;
    }
    for (const auto& [type, requestBody] : requestsWith("X-WRONGTYPE")) {
        EXPECT_EQ(text(ruled.ask(type, requestBody)).substr(6, 4), "8099") << type;
    }
    for (const auto& [type, requestBody] : requestsWith("X-UNPLUG")) {
        const auto steps = ruled.ask(type, requestBody);
        ASSERT_EQ(steps.size(), 2U) << type;
        EXPECT_TRUE(std::holds_alternative<Unplug>(steps[0].step)) << type;
        EXPECT_EQ(steps[1].after, 2s) << type;
    }
    EXPECT_TRUE(ruled.terminal.violations().empty());
}

TEST(MagicValues, OnlyEndingsCount) {
    Ruled ruled(pdasim::magicRules());
    for (const std::string value : {"X", "-SILENTX", "SILENT", "-silent", ""}) {
        for (const auto& [type, requestBody] : requestsWith(value)) {
            EXPECT_EQ(ruled.ask(type, requestBody).size(), 1U) << type << " " << value;
        }
    }
}

} // namespace
