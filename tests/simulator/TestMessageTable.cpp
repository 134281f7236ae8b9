#include "Conversation.h"

#include "core/MessageTable.h"
#include "core/TagNames.h"
#include "core/Terminal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <set>
#include <string>
#include <vector>

namespace {

using pdasim::Tag;
using pdasim::Tags;
using pdasim::test::body;
using pdasim::test::Conversation;
using Texts = std::vector<std::string>;

/** A conforming message of each kind, and the names of the tags in its answer. */
struct Sample {
    std::string name;
    std::string type;
    Tags tags;
    Texts replyNames;
    std::string groups = {};
};

void PrintTo(const Sample& sample, std::ostream* out) {
    *out << sample.type;
}

std::string nameOf(const testing::TestParamInfo<Sample>& info) {
    return info.param.name;
}

std::vector<Sample> samples() {
    const Texts parties = {"Ex_ALogin", "Ex_AName", "Ex_AFigData", "Ex_ARnd", "Ex_APwd", "Ex_AMacChkVal",
                           "Ex_BLogin", "Ex_BName", "Ex_BFigData", "Ex_BRnd", "Ex_BPwd", "Ex_BMacChkVal",
                           "Ex_CLogin", "Ex_CName", "Ex_CFigData", "Ex_CRnd", "Ex_CPwd", "Ex_CMacChkVal"};
    Texts dot = {"Ex_Road", "Ex_Time", "Ex_Label", "Ex_ErrLabel"};
    Texts power = {"Ex_BatchNb", "Ex_Time", "Ex_Label", "Ex_ErrLabel"};
    for (Texts* record : {&dot, &power}) {
        record->insert(record->end(), parties.begin(), parties.end());
        record->push_back("Ex_State");
    }
    const Tag serial = {"Ex_PdaSn", "P1"};
    const Tag lock = {"Ex_LockId", "L1"};
    const Texts code = {"Ex_RetCode"};
    const Texts single = {"Ex_SrcSeqNo", "Ex_RetCode", "Ex_LockId"};
    const auto with = [](Texts names, const Texts& more) {
        names.insert(names.end(), more.begin(), more.end());
        return names;
    };
    return {
        {"Information", "8001", {}, {"Ex_EIMI", "Ex_BleVer", "Ex_PdaVer", "Ex_RetCode"}},
        {"Initialisation", "8002", {serial, {"Ex_Factory", "F"}}, {"Ex_EIMI", "Ex_Vender", "Ex_RetCode"}},
        {"LabelWriting",
         "8003",
         {{"Ex_Label", "A"}, {"Ex_OrgNm", "o"}, {"Ex_BagType", "b"}},
         {"Ex_Tid", "Ex_RetCode"}},
        {"ScanCommand", "8004", {serial, {"Ex_Cmd", "1"}}, code},
        {"ScanList", "8005", {serial}, {"Ex_Label", "Ex_ScanState"}},
        {"InventoryTask",
         "8006",
         {serial, {"Ex_TaskId", "T"}, {"Ex_Total", "-2"}, {"Ex_Label", "A;B;"}},
         code},
        {"InventoryResult",
         "8007",
         {serial},
         {"Ex_TaskId", "Ex_Label", "Ex_ErrLabel", "Ex_Offline", "Ex_Login", "Ex_Name", "Ex_FigData", "Ex_Rnd",
          "Ex_Pwd", "Ex_MacChkVal", "Ex_InvenSta"}},
        {"DotTask",
         "8008",
         {serial,
          {"Ex_TaskId", "T"},
          {"Ex_TaskType", "1"},
          {"Ex_Road", "r"},
          {"Ex_ExcgTime", "t"},
          {"Ex_OrgNum", "n"},
          {"Ex_OrgNm", "o"},
          {"Ex_Total", "2"},
          {"Ex_Label", "A;"},
          {"Ex_UserA", "a"},
          {"Ex_UserB", "b"}},
         code},
        {"DotResult", "8009", {serial, {"Ex_TaskId", "T"}}, dot},
        {"PowerTask",
         "8010",
         {serial,
          {"Ex_OrgNb", "n"},
          {"Ex_Time", "t"},
          {"Ex_OrgNm", "o"},
          {"Ex_BatchNb", "b"},
          {"Ex_TaskId", "T"},
          {"Ex_Total", "2"},
          {"Ex_Label", "A;"}},
         code},
        {"PowerResult", "8011", {serial, {"Ex_TaskId", "T"}}, power},
        {"KeyInstallation", "8012", {serial, {"Ex_Key", "k"}, {"Ex_CheckVal", "c"}}, code},
        {"KeyCheckValue", "8013", {serial}, {"Ex_CheckVal", "Ex_RetCode"}},
        {"WorkKeys",
         "8014",
         {serial, {"Ex_EncKey", "e"}, {"Ex_MacKey", "m"}, {"Ex_EncChkVal", "E"}, {"Ex_MacChkVal", "M"}},
         code},
        {"FilePacketSent",
         "8015",
         {serial,
          {"Ex_CmdEx", "7"},
          {"Ex_InfoEx", "i"},
          {"Ex_TotalPkt", "1"},
          {"Ex_CurPkt", "0"},
          {"Ex_HexVal", "313233343536373839"},
          {"Ex_HexCheck", "31c3"}},
         code},
        {"FilePacketRequested",
         "8016",
         {serial, {"Ex_CmdEx", "7"}, {"Ex_InfEx", "i"}, {"Ex_CurPkt", "0"}},
         {"Ex_RetCode", "Ex_TotalPkt", "Ex_CurPkt", "Ex_HexVal", "Ex_HexCheck"}},
        {"RegisteredTeller", "8017", {serial}, {"Ex_RetCode", "Ex_TellerNo"}},
        {"Authentication", "8018", {serial, {"Ex_Total", "2"}, {"Ex_AuthRet", "a;b;c"}}, code},
        {"Escorts", "8019", {serial, {"Ex_Total", "0"}, {"Ex_TellerNo", ""}}, code},
        {"BleMac", "7001", {{"Ex_BleMac", "00:11"}}, code},
        {"LockList", "7011", {}, {"Ex_SrcSeqNo", "Ex_RetCode", "Ex_LockNum"}},
        {"PublicKey", "7012", {lock}, with(single, {"Ex_PublicKey", "Ex_FactorCDK"})},
        {"InitialLockKey",
         "7013",
         {lock, {"Ex_InitCDKKFV", "f"}, {"Ex_InitCDKKEV", "e"}, {"Ex_InitCDKKCV", "c"}},
         single},
        {"CurrentLockKey", "7014", {lock}, with(single, {"Ex_CurrentCDKKFV", "Ex_CurrentCDKKCV"})},
        {"NewLockKeys",
         "7015",
         {lock,
          {"Ex_NewCDKKFV", "1"},
          {"Ex_NewCDKKEV", "2"},
          {"Ex_NewCDKKCV", "3"},
          {"Ex_NormalUnLockKFV", "4"},
          {"Ex_NormalUnLockKEV", "5"},
          {"Ex_NormalUnLockKCV", "6"},
          {"Ex_UrgentUnLockKFV", "7"},
          {"Ex_UrgentUnLockKEV", "8"},
          {"Ex_UrgentUnLockKCV", "9"},
          {"Ex_LockParams", "p"},
          {"Ex_LockLabel", "l"}},
         with(single, {"Ex_LockRnd"})},
        {"LockInformation",
         "7016",
         {lock},
         with(single, {"Ex_LockVer", "Ex_HSCVer", "Ex_LockParam", "Ex_LockBoot", "Ex_LockAppCrc",
                       "Ex_LockStatus", "Ex_LockRnd"})},
        {"LockOpening",
         "7018",
         {{"Ex_LockNum", " 1x"}},
         {"Ex_SrcSeqNo", "Ex_RetCode"},
         "<LockList><Ex_LockId>L1</Ex_LockId><Ex_Action>00</Ex_Action><Ex_OTCCode>1</Ex_OTCCode>"
         "<Ex_UserA>a</Ex_UserA><Ex_UserB>b</Ex_UserB></LockList>"},
        {"LockResults", "7019", {}, {"Ex_SrcSeqNo", "Ex_RetCode", "Ex_LockNum"}},
        {"ScanAcknowledged",
         "9001",
         {{"Ex_SrcSeqNo", "-"}, {"Ex_PdaSn", "-"}, {"Ex_RetCode", "000000"}, {"Ex_ScanState", "1"}},
         {}},
        {"NoticeAcknowledged",
         "9001",
         {{"Ex_SrcSeqNo", "-"}, {"Ex_RetCode", "000000"}, {"Ex_PdaSn", "-"}},
         {}},
        {"LoginVerdict", "9002", {serial, {"Ex_RetCode", "000031"}}, {}},
        {"InventoryAcknowledged", "9004", {{"Ex_SrcSeqNo", "-"}, {"Ex_RetCode", "000000"}}, {}},
        {"DotAcknowledged", "9005", {{"Ex_SrcSeqNo", "-"}, {"Ex_RetCode", "000000"}}, {}},
        {"PowerAcknowledged",
         "9006",
         {{"Ex_SrcSeqNo", "-"}, {"Ex_PdaSn", "-"}, {"Ex_RetCode", "000000"}},
         {}},
    };
}

class EachMessage : public testing::TestWithParam<Sample> {
protected:
    EachMessage() {
        pdasim::Lock lock;
        lock.id = "L1";
        conversation.terminal.state().locks = {lock};
        conversation.terminal.state().files.offered[7] = "3132";
    }

    /** What the terminal has against the message with other tags. */
    Texts violationsOf(const Tags& tags) {
        (void)conversation.answer(GetParam().type, tags, GetParam().groups);
        return conversation.takeViolations();
    }

    Conversation conversation;
};

INSTANTIATE_TEST_SUITE_P(, EachMessage, testing::ValuesIn(samples()), nameOf);

TEST_P(EachMessage, IsAcceptedAndAnsweredWithTheTagsOfItsKind) {
    std::string reply = conversation.answer(GetParam().type, GetParam().tags, GetParam().groups);
    EXPECT_EQ(conversation.takeViolations(), Texts());
    if (GetParam().replyNames.empty()) {
        EXPECT_EQ(reply, "(no reply)");
        return;
    }
    reply = reply.substr(0, reply.find("<LockList>"));
    Texts found;
    for (std::size_t at = reply.find("<Ex_"); at != std::string::npos; at = reply.find("<Ex_", at + 1)) {
        found.push_back(reply.substr(at + 1, reply.find('>', at) - at - 1));
    }
    EXPECT_EQ(found, GetParam().replyNames);
}

TEST_P(EachMessage, HasTheNamesOfItsTagsListed) {
    const Texts asked = pdasim::requestTagNames(GetParam().type);
    for (const Tag& tag : GetParam().tags) {
        EXPECT_EQ(std::count(asked.begin(), asked.end(), tag.name), 1) << tag.name;
    }
    EXPECT_EQ(std::count(asked.begin(), asked.end(), "Ex_OTCCode"), GetParam().groups.empty() ? 0 : 1);
    Texts answered = GetParam().replyNames;
    if (!answered.empty()) {
        answered.insert(answered.begin(), {"Ex_TrTime", "Ex_SeqNo"});
    }
    EXPECT_EQ(pdasim::replyTagNames(GetParam().type), answered);
}

TEST_P(EachMessage, IsAnsweredUnderItsOwnTypeAndWithARightHeader) {
    const std::string reply = conversation.ask(GetParam().type, body(GetParam().tags) + GetParam().groups);
    if (GetParam().replyNames.empty()) {
        EXPECT_EQ(reply, "");
        return;
    }
    EXPECT_EQ(std::stoul(reply.substr(0, 6)), reply.size());
    EXPECT_EQ(reply.substr(6, 106), GetParam().type +
                                        "QEV   000000000000000000000000        05"
                                        "<Ex_TrTime>20260304050607</Ex_TrTime><Ex_SeqNo>0001</Ex_SeqNo>");
}

TEST_P(EachMessage, MayNotLackATag) {
    for (std::size_t missing = 0; missing < GetParam().tags.size(); ++missing) {
        Tags tags = GetParam().tags;
        tags.erase(tags.begin() + static_cast<std::ptrdiff_t>(missing));
        EXPECT_EQ(violationsOf(tags).size(), 1U) << "without " << GetParam().tags[missing].name;
    }
}

TEST_P(EachMessage, MayNotCarryAnotherTag) {
    Tags tags = GetParam().tags;
    tags.insert(tags.begin(), {"Ex_Foreign", ""});
    EXPECT_EQ(violationsOf(tags).size(), 1U);
    tags = GetParam().tags;
    tags.push_back({"Ex_Foreign", ""});
    EXPECT_EQ(violationsOf(tags).size(), 1U);
}

TEST_P(EachMessage, HasItsTagsInOrder) {
    for (std::size_t second = 1; second < GetParam().tags.size(); ++second) {
        Tags tags = GetParam().tags;
        std::swap(tags[second - 1], tags[second]);
        EXPECT_EQ(violationsOf(tags).size(), 1U) << tags[second - 1].name << " before " << tags[second].name;
    }
}

TEST_P(EachMessage, HasItsNumbersWrittenAsNumbers) {
    const std::set<std::string> numbers = {"Ex_Total", "Ex_TaskType", "Ex_CmdEx", "Ex_TotalPkt", "Ex_CurPkt"};
    for (std::size_t i = 0; i < GetParam().tags.size(); ++i) {
        if (numbers.count(GetParam().tags[i].name) != 0) {
            Tags tags = GetParam().tags;
            tags[i].value = "0" + tags[i].value;
            const Texts violations = violationsOf(tags);
            ASSERT_FALSE(violations.empty()) << tags[i].name;
            EXPECT_EQ(violations[0], "message " + std::to_string(conversation.terminal.received().size()) +
                                         " of type " + GetParam().type + ": " + tags[i].name + " is \"" +
                                         tags[i].value + "\", not a number");
        }
    }
}

TEST(MessageTable, ListsTheTagsOfAllTypesTogether) {
    std::set<std::string> asked = {"Ex_LockId", "Ex_Action", "Ex_OTCCode", "Ex_UserA", "Ex_UserB"};
    std::set<std::string> answered = {"Ex_TrTime", "Ex_SeqNo"};
    for (const Sample& sample : samples()) {
        for (const Tag& tag : sample.tags) {
            asked.insert(tag.name);
        }
        answered.insert(sample.replyNames.begin(), sample.replyNames.end());
    }
    const Texts requests = pdasim::requestTagNames(pdasim::Terminal::AnyType);
    const Texts replies = pdasim::replyTagNames(pdasim::Terminal::AnyType);
    EXPECT_EQ(std::set<std::string>(requests.begin(), requests.end()), asked);
    EXPECT_EQ(requests.size(), asked.size());
    EXPECT_EQ(std::set<std::string>(replies.begin(), replies.end()), answered);
    EXPECT_EQ(replies.size(), answered.size());
}

TEST(MessageTable, KnowsEveryTypeOfTheSamplesAndNoOther) {
    std::set<std::string> known;
    for (const Sample& sample : samples()) {
        known.insert(sample.type);
    }
    for (int type = 0; type < 10000; ++type) {
        const std::string text = pdasim::sequenceText(type);
        const std::size_t rows = pdasim::findMessageRows(text).size();
        EXPECT_EQ(rows, known.count(text) == 0 ? 0U : text == "9001" ? 2U : 1U) << text;
    }
}

} // namespace
