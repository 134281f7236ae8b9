#include "Conversation.h"

#include "core/Texts.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using pdasim::test::body;
using pdasim::test::Conversation;
using Texts = std::vector<std::string>;

/// Rules that a message breaks, without the words about which message it was.
class MessageRules : public testing::Test {
protected:
    Texts violationsOf(std::string_view type, const std::string& requestBody) {
        (void)conversation.ask(type, requestBody);
        Texts violations = conversation.takeViolations();
        for (std::string& violation : violations) {
            violation.erase(0, violation.find(": ") + 2);
        }
        return violations;
    }

    /// One packet of a file.
    Texts packet(int total, int current, const std::string& text, const std::string& check) {
        return violationsOf("8015", body({{"Ex_PdaSn", ""},
                                          {"Ex_CmdEx", "-1"},
                                          {"Ex_InfoEx", ""},
                                          {"Ex_TotalPkt", std::to_string(total)},
                                          {"Ex_CurPkt", std::to_string(current)},
                                          {"Ex_HexVal", text},
                                          {"Ex_HexCheck", check}}));
    }
    Texts packet(int total, int current, const std::string& text) {
        return packet(total, current, text, pdasim::hexCheck(text));
    }

    static std::string lock(const std::string& action, const std::string& oneTimeCode) {
        return "<LockList><Ex_LockId>L</Ex_LockId><Ex_Action>" + action + "</Ex_Action><Ex_OTCCode>" +
               oneTimeCode + "</Ex_OTCCode><Ex_UserA></Ex_UserA><Ex_UserB></Ex_UserB></LockList>";
    }
    Texts opening(const std::string& count, const std::string& locks) {
        return violationsOf("7018", body({{"Ex_LockNum", count}}) + locks);
    }

    Conversation conversation;
};

const std::string kFull(3000, 'a');

TEST_F(MessageRules, LengthCountsUtf16UnitsExceptInADotHandoverTask) {
    const std::string label = "\xE6\x96\x87\xF0\x9F\x94\x92";
    const std::string reply = body({{"Ex_Label", label}, {"Ex_OrgNm", ""}, {"Ex_BagType", ""}});
    EXPECT_EQ(violationsOf("8003", reply), Texts());
    const auto task = [&label](const std::string& road) {
        return body("Ex_PdaSn= Ex_TaskId=" + label + " Ex_TaskType=0 Ex_Road=" + road +
                    " Ex_ExcgTime= Ex_OrgNum= Ex_OrgNm= Ex_Total=0 Ex_Label= Ex_UserA= Ex_UserB=");
    };
    EXPECT_EQ(violationsOf("8008", task("")).size(), 1U); // the request counts its three characters
    std::string inBytes = pdasim::test::request("8008", 3, task("\xC4\xE3"));
    inBytes.replace(0, 6, "000" + std::to_string(inBytes.size()));
    (void)conversation.terminal.handleWrite(inBytes, Conversation::Now);
    EXPECT_EQ(conversation.takeViolations(), Texts());
    EXPECT_EQ(conversation.terminal.state().dotHandovers[label].task.road, "\xC4\xE3");
}

TEST_F(MessageRules, PacketsAreFullExceptTheLast) {
    EXPECT_EQ(packet(2, 0, kFull), Texts());
    EXPECT_EQ(packet(2, 1, "a"), Texts());
    EXPECT_EQ(packet(1, 0, kFull), Texts());
    EXPECT_EQ(packet(2, 0, kFull.substr(1)), Texts{"packet 0 of 2 has 2999 characters"});
    EXPECT_EQ(packet(2, 0, kFull + "a"), Texts{"packet 0 of 2 has 3001 characters"});
    EXPECT_EQ(packet(2, 1, kFull + "a"), Texts{"packet 1 of 2 has 3001 characters"});
    EXPECT_EQ(packet(2, 1, ""), Texts{"packet 1 of 2 has 0 characters"});
}

TEST_F(MessageRules, PacketsAreCutByCharactersNotBytes) {
    std::string text;
    for (int i = 0; i < 3000; ++i) {
        text.append("\xC3\xA4");
    }
    EXPECT_EQ(packet(2, 0, text), Texts());
    EXPECT_EQ(packet(2, 0, text.substr(0, 3000)), Texts{"packet 0 of 2 has 1500 characters"});
}

TEST_F(MessageRules, PacketNumbersStayBelowTheirTotal) {
    EXPECT_EQ(packet(2, 2, kFull), Texts{"Ex_CurPkt is 2 of 2"});
    EXPECT_EQ(packet(2, -1, kFull), Texts{"Ex_CurPkt is -1 of 2"});
    EXPECT_EQ(packet(0, 0, kFull), Texts{"Ex_CurPkt is 0 of 0"});
    EXPECT_EQ(packet(-2147483647 - 1, 0, kFull).size(), 1U);
}

TEST_F(MessageRules, PacketsCarryTheirCheckInLowerCase) {
    EXPECT_EQ(packet(1, 0, "313233343536373839", "31c3"), Texts());
    EXPECT_EQ(packet(1, 0, "313233343536373839", "31C3"),
              Texts{"Ex_HexCheck is \"31C3\" instead of \"31c3\""});
    EXPECT_EQ(packet(1, 0, "3", "0000"), Texts());
    EXPECT_EQ(packet(1, 0, "31", "").size(), 1U);
    EXPECT_EQ(packet(1, 0, "31", "0000").size(), 1U);
}

TEST_F(MessageRules, ItemCountsAgreeWithTheirLists) {
    for (const auto& [type, name] : {std::pair{"8018", "Ex_AuthRet"}, std::pair{"8019", "Ex_TellerNo"}}) {
        const auto counted = [&, type = type, name = name](const std::string& total,
                                                           const std::string& list) {
            return violationsOf(type, body({{"Ex_PdaSn", ""}, {"Ex_Total", total}, {name, list}}));
        };
        EXPECT_EQ(counted("2", "a;b;"), Texts());
        EXPECT_EQ(counted("1", "a;b"), Texts());
        EXPECT_EQ(counted("0", "a"), Texts());
        EXPECT_EQ(counted("2", ";a;;b;"), Texts());
        EXPECT_EQ(counted("2", "a;b"), Texts{"Ex_Total is \"2\", " + std::string(name) + " has 1 items"});
    }
}

TEST_F(MessageRules, TheParsedLockCountSaysHowManyLocksFollow) {
    EXPECT_EQ(opening("2", lock("00", "1") + lock("01", "")), Texts());
    EXPECT_EQ(opening(" +1 or so", lock("00", "")), Texts());
    for (const std::string none : {"0", "-2", "", "none", "- 1"}) {
        EXPECT_EQ(opening(none, ""), Texts()) << none;
    }
    EXPECT_EQ(opening("2", lock("00", "1")), Texts{"Ex_LockNum is \"2\", the message has 1 locks"});
    EXPECT_EQ(opening("1", ""), Texts{"Ex_LockNum is \"1\", the message has 0 locks"});
    EXPECT_EQ(opening("-1", lock("00", "1")), Texts{"Ex_LockNum is \"-1\", the message has 1 locks"});
}

TEST_F(MessageRules, OnlyTheAction00HasAOneTimeCode) {
    EXPECT_EQ(opening("1", lock("00", "123456")), Texts());
    for (const std::string other : {"01", "0", " 00", "000", ""}) {
        EXPECT_EQ(opening("1", lock(other, "")), Texts()) << other;
        EXPECT_EQ(opening("1", lock(other, "123456")),
                  Texts{"Ex_OTCCode is \"123456\" for the action \"" + other + "\""});
    }
}

TEST_F(MessageRules, LocksAreWholeGroupsInOrder) {
    EXPECT_EQ(opening("1", "<LockList></LockList>").size(), 1U);
    EXPECT_EQ(opening("1", lock("00", "1") + "x"), Texts{"expected <LockList> or the end, found \"x\""});
    std::string swapped = lock("00", "1");
    swapped.replace(swapped.find("<Ex_UserA></Ex_UserA><Ex_UserB></Ex_UserB>"), 42,
                    "<Ex_UserB></Ex_UserB><Ex_UserA></Ex_UserA>");
    EXPECT_EQ(opening("1", swapped).size(), 1U);
    const std::string whole = lock("00", "1");
    EXPECT_EQ(opening("1", whole.substr(0, whole.size() - 11)).size(), 1U);
    EXPECT_EQ(violationsOf("7011", whole).size(), 1U);
}

TEST_F(MessageRules, AcknowledgementsReportSuccess) {
    const auto acknowledged = [this](const std::string& code, const std::string& state) {
        return violationsOf(
            "9001",
            body({{"Ex_SrcSeqNo", "-"}, {"Ex_PdaSn", "-"}, {"Ex_RetCode", code}, {"Ex_ScanState", state}}));
    };
    EXPECT_EQ(acknowledged("000000", "1"), Texts());
    EXPECT_EQ(acknowledged("000001", "1"), Texts{"Ex_RetCode is \"000001\" instead of \"000000\""});
    EXPECT_EQ(acknowledged("000000", "0"), Texts{"Ex_ScanState is \"0\" instead of \"1\""});
    for (const std::string type : {"9004", "9005"}) {
        EXPECT_EQ(violationsOf(type, body("Ex_SrcSeqNo=- Ex_RetCode=")).size(), 1U) << type;
    }
    EXPECT_EQ(violationsOf("9002", body("Ex_PdaSn=- Ex_RetCode=000031")), Texts());
}

} // namespace
