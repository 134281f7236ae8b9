#include "Conversation.h"

#include "core/Texts.h"
#include "scenario/Rules.h"
#include "scenario/Scenario.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using pdasim::Rule;
using pdasim::test::body;
using pdasim::test::Conversation;
using pdasim::test::shown;

/// A host, and a terminal with these rules.
class Ruled : public Conversation {
public:
    explicit Ruled(const std::string& rules, const std::string& more = {}) {
        const pdasim::Scenario scenario =
            pdasim::readScenario(R"({"name":"x",)" + more + "\"rules\":[" + rules + "]}", "some.json", ".");
        terminal.state() = scenario.state;
        add(scenario.rules);
    }
    explicit Ruled(const std::vector<Rule>& rules) { add(rules); }

    /// What the terminal does about information requests, "i", and about labels with other texts.
    std::string reactionsTo(const std::string& messages) {
        std::string all;
        std::istringstream words(messages);
        for (std::string word; words >> word;) {
            const auto steps = word == "i"
                                   ? send("8001")
                                   : send("8003", body("Ex_Label=" + word + " Ex_OrgNm= Ex_BagType="));
            all += (all.empty() ? "" : ", ") + shown(steps);
        }
        return all;
    }

private:
    void add(const std::vector<Rule>& rules) {
        for (const Rule& rule : rules) {
            terminal.addFault(rule.type, rule.fault);
        }
    }
};

const std::string kInfo = "0:8001/000000";
const std::string kLabel = "0:8003/000000";

TEST(Rules, DoWhatTheySay) {
    struct Case {
        const char* name;
        const char* rules;
        const char* messages;
        std::string reactions;
    };
    const std::vector<Case> cases = {
        {"refuse", R"({"on":"8003","do":{"refuse":"000042"}})", "A i", "0:8003/000042, " + kInfo},
        {"silent", R"({"on":"8001","do":{"silent":true}})", "i i A", "-, -, " + kLabel},
        {"what is false changes nothing",
         R"({"on":"8001","do":{"silent":false,"repeat":false,"corruptCrc":false}})", "i", kInfo},
        {"delay", R"({"on":"8001","do":{"delay":1500}})", "i", "1500:8001/000000"},
        {"split", R"({"on":"8001","do":{"delay":5,"split":{"pieces":3,"pause":20}}})", "i",
         "5:8001 25:(80) 45:(81)/000000"},
        {"split without a pause", R"({"on":"8001","do":{"split":{"pieces":2}}})", "i",
         "0:8001 0:(121)/000000"},
        {"type", R"({"on":"8001","do":{"type":"8002"}})", "i", "0:8002/000000"},
        {"repeat", R"({"on":"8001","do":{"repeat":true}})", "i", kInfo + " " + kInfo},
        {"disconnect before", R"({"on":"8001","do":{"disconnect":"before","reconnect":300}})", "i",
         "0:unplug 300:replug"},
        {"disconnect after", R"({"on":"8001","do":{"disconnect":"after"}})", "i", kInfo + " 0:unplug"},
        {"every type", R"({"on":"*","do":{"silent":true}})", "i A", "-, -"},
        {"from and times", R"({"on":"8001","from":2,"times":2,"do":{"silent":true}})", "i i i i",
         kInfo + ", -, -, " + kInfo},
        {"equals", R"({"on":"8003","tag":{"name":"Ex_Label","equals":"BAD"},"do":{"silent":true}})",
         "BAD BAD2", "-, " + kLabel},
        {"startsWith", R"({"on":"8003","tag":{"name":"Ex_Label","startsWith":"BAD"},"do":{"silent":true}})",
         "BAD2 NOTBAD", "-, " + kLabel},
        {"endsWith", R"({"on":"*","tag":{"name":"Ex_Label","endsWith":"BAD"},"do":{"silent":true}})",
         "NOTBAD BAD2 AD i", "-, " + kLabel + ", " + kLabel + ", " + kInfo},
        {"only those of the condition count",
         R"({"on":"8003","tag":{"name":"Ex_Label","equals":"X"},"from":2,"times":1,"do":{"silent":true}})",
         "A X A X X", kLabel + ", " + kLabel + ", " + kLabel + ", -, " + kLabel},
        {"the first that applies",
         R"({"on":"8001","times":1,"do":{"delay":1}},{"on":"*","do":{"silent":true}})", "i i",
         "1:8001/000000, -"},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(Ruled(each.rules).reactionsTo(each.messages), each.reactions) << each.name;
    }
}

TEST(Rules, ChangeTheTagsOfAReply) {
    const std::string other =
        R"({"on":"8003","do":{"reply":[{"name":"Ex_Tid","value":"ü"},{"name":"Ex_New","value":"1"}]}})";
    Ruled(other).expect("8003 Ex_Label=A Ex_OrgNm= Ex_BagType= -> Ex_Tid=ü Ex_RetCode=000000 Ex_New=1");
    Ruled(R"({"on":"8001","do":{"drop":["Ex_EIMI","Ex_RetCode"]}})")
        .expect("8001 -> Ex_BleVer=BLE-1.4.2 Ex_PdaVer=PDA-2.0.7");
}

TEST(Rules, CorruptTheCheckOfAPacket) {
    Ruled ruled(R"({"on":"8016","times":1,"do":{"corruptCrc":true}})",
                R"("files":[{"command":7,"hex":"0102"}],)");
    const std::string packet = body("Ex_PdaSn= Ex_CmdEx=7 Ex_InfEx= Ex_CurPkt=0");
    const std::string right = body("Ex_HexCheck=" + pdasim::hexCheck("0102"));
    EXPECT_EQ(ruled.answer("8016", packet).find(right), std::string::npos);
    EXPECT_NE(ruled.answer("8016", packet).find(right), std::string::npos);
}

std::string openingOf(const std::string& lock) {
    return body("Ex_LockNum=1 ( Ex_LockId=" + lock + " Ex_Action=01 Ex_OTCCode= Ex_UserA= Ex_UserB= )");
}

TEST(Rules, SeeTheLocksOfAList) {
    Ruled ruled(R"({"on":"7018","tag":{"name":"Ex_LockId","equals":"L2"},"do":{"refuse":"000042"}})");
    EXPECT_EQ(shown(ruled.send("7018", openingOf("L2"))), "0:7018/000042");
    EXPECT_EQ(shown(ruled.send("7018", openingOf("L1"))), "0:7018/000000");
}

/// Every way to put a magic value into a request.
std::vector<std::pair<std::string, std::string>> requestsWith(const std::string& value) {
    const std::string packet =
        " Ex_TotalPkt=1 Ex_CurPkt=0 Ex_HexVal=01 Ex_HexCheck=" + pdasim::hexCheck("01");
    return {
        {"8003", body("Ex_Label=" + value + " Ex_OrgNm=O Ex_BagType=1")},
        {"8006", body("Ex_PdaSn=P Ex_TaskId=" + value + " Ex_Total=0 Ex_Label=")},
        {"8009", body("Ex_PdaSn=P Ex_TaskId=" + value)},
        {"8015", body("Ex_PdaSn=P Ex_CmdEx=1 Ex_InfoEx=" + value + packet)},
        {"8016", body("Ex_PdaSn=P Ex_CmdEx=1 Ex_InfEx=" + value + " Ex_CurPkt=0")},
        {"7012", body("Ex_LockId=" + value)},
        {"7018", openingOf(value)},
    };
}

TEST(MagicValues, WorkInEveryRequestThatCarriesThem) {
    Ruled ruled(pdasim::magicRules());
    const auto reactions = [&ruled](const std::string& value) {
        std::vector<std::string> all;
        for (const auto& [type, requestBody] : requestsWith(value)) {
            all.push_back(shown(ruled.send(type, requestBody)));
        }
        return all;
    };
    const auto requests = requestsWith("");
    const std::vector<std::string> refused = reactions("X-REFUSE");
    const std::vector<std::string> slow = reactions("X-SLOW");
    const std::vector<std::string> wrong = reactions("X-WRONGTYPE");
    for (std::size_t i = 0; i < requests.size(); ++i) {
        EXPECT_EQ(refused[i], "0:" + requests[i].first + "/000099");
        EXPECT_EQ(slow[i].substr(0, 9), "3000:" + requests[i].first);
        EXPECT_EQ(wrong[i].substr(0, 6), "0:8099");
    }
    EXPECT_EQ(reactions("X-SILENT"), std::vector<std::string>(requests.size(), "-"));
    EXPECT_EQ(reactions("X-UNPLUG"), std::vector<std::string>(requests.size(), "0:unplug 2000:replug"));
    EXPECT_TRUE(ruled.terminal.violations().empty());
}

TEST(MagicValues, OnlyEndingsCount) {
    Ruled ruled(pdasim::magicRules());
    for (const std::string value : {"X", "-SILENTX", "SILENT", "-silent", ""}) {
        for (const auto& [type, requestBody] : requestsWith(value)) {
            EXPECT_EQ(ruled.send(type, requestBody).size(), 1U) << type << " " << value;
        }
    }
}

} // namespace
