#include "Conversation.h"

#include "core/MessageTable.h"
#include "core/Terminal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using pdasim::Tag;
using pdasim::Tags;
using pdasim::test::body;
using pdasim::test::Conversation;
using pdasim::test::tagsOf;
using Texts = std::vector<std::string>;

/// A conforming message of each kind, and the names of the tags in its answer.
struct Sample {
    std::string type;
    Tags tags;
    Texts replyNames;
    std::string groups = {};
};

Texts wordsOf(const std::string& text) {
    std::istringstream words(text);
    return {std::istream_iterator<std::string>(words), {}};
}

// clang-format off
std::vector<Sample> samples() {
    const std::string parties =
        " Ex_ALogin Ex_AName Ex_AFigData Ex_ARnd Ex_APwd Ex_AMacChkVal Ex_BLogin Ex_BName Ex_BFigData Ex_BRnd Ex_BPwd"
        " Ex_BMacChkVal Ex_CLogin Ex_CName Ex_CFigData Ex_CRnd Ex_CPwd Ex_CMacChkVal Ex_State";
    const std::string code = "Ex_RetCode";
    const std::string lock = "Ex_SrcSeqNo Ex_RetCode Ex_LockId";
    const auto sample = [](const char* type, const char* tags, const std::string& replyNames, const char* groups = "") {
        return Sample{type, tagsOf(tags), wordsOf(replyNames), groups};
    };
    return {
        sample("8001", "", "Ex_EIMI Ex_BleVer Ex_PdaVer Ex_RetCode"),
        sample("8002", "Ex_PdaSn=P1 Ex_Factory=F", "Ex_EIMI Ex_Vender Ex_RetCode"),
        sample("8003", "Ex_Label=A Ex_OrgNm=o Ex_BagType=b", "Ex_Tid Ex_RetCode"),
        sample("8004", "Ex_PdaSn=P1 Ex_Cmd=1", code),
        sample("8005", "Ex_PdaSn=P1", "Ex_Label Ex_ScanState"),
        sample("8006", "Ex_PdaSn=P1 Ex_TaskId=T Ex_Total=-2 Ex_Label=A;B;", code),
        sample("8007", "Ex_PdaSn=P1", "Ex_TaskId Ex_Label Ex_ErrLabel Ex_Offline Ex_Login Ex_Name Ex_FigData Ex_Rnd Ex_Pwd"
                                      " Ex_MacChkVal Ex_InvenSta"),
        sample("8008", "Ex_PdaSn=P1 Ex_TaskId=T Ex_TaskType=1 Ex_Road=r Ex_ExcgTime=t Ex_OrgNum=n Ex_OrgNm=o Ex_Total=2"
                       " Ex_Label=A; Ex_UserA=a Ex_UserB=b", code),
        sample("8009", "Ex_PdaSn=P1 Ex_TaskId=T", "Ex_Road Ex_Time Ex_Label Ex_ErrLabel" + parties),
        sample("8010", "Ex_PdaSn=P1 Ex_OrgNb=n Ex_Time=t Ex_OrgNm=o Ex_BatchNb=b Ex_TaskId=T Ex_Total=2 Ex_Label=A;", code),
        sample("8011", "Ex_PdaSn=P1 Ex_TaskId=T", "Ex_BatchNb Ex_Time Ex_Label Ex_ErrLabel" + parties),
        sample("8012", "Ex_PdaSn=P1 Ex_Key=k Ex_CheckVal=c", code),
        sample("8013", "Ex_PdaSn=P1", "Ex_CheckVal Ex_RetCode"),
        sample("8014", "Ex_PdaSn=P1 Ex_EncKey=e Ex_MacKey=m Ex_EncChkVal=E Ex_MacChkVal=M", code),
        sample("8015", "Ex_PdaSn=P1 Ex_CmdEx=7 Ex_InfoEx=i Ex_TotalPkt=1 Ex_CurPkt=0 Ex_HexVal=313233343536373839"
                       " Ex_HexCheck=31c3", code),
        sample("8016", "Ex_PdaSn=P1 Ex_CmdEx=7 Ex_InfEx=i Ex_CurPkt=0",
               "Ex_RetCode Ex_TotalPkt Ex_CurPkt Ex_HexVal Ex_HexCheck"),
        sample("8017", "Ex_PdaSn=P1", "Ex_RetCode Ex_TellerNo"),
        sample("8018", "Ex_PdaSn=P1 Ex_Total=2 Ex_AuthRet=a;b;c", code),
        sample("8019", "Ex_PdaSn=P1 Ex_Total=0 Ex_TellerNo=", code),
        sample("7001", "Ex_BleMac=00:11", code),
        sample("7011", "", "Ex_SrcSeqNo Ex_RetCode Ex_LockNum"),
        sample("7012", "Ex_LockId=L1", lock + " Ex_PublicKey Ex_FactorCDK"),
        sample("7013", "Ex_LockId=L1 Ex_InitCDKKFV=f Ex_InitCDKKEV=e Ex_InitCDKKCV=c", lock),
        sample("7014", "Ex_LockId=L1", lock + " Ex_CurrentCDKKFV Ex_CurrentCDKKCV"),
        sample("7015", "Ex_LockId=L1 Ex_NewCDKKFV=1 Ex_NewCDKKEV=2 Ex_NewCDKKCV=3 Ex_NormalUnLockKFV=4 Ex_NormalUnLockKEV=5"
                       " Ex_NormalUnLockKCV=6 Ex_UrgentUnLockKFV=7 Ex_UrgentUnLockKEV=8 Ex_UrgentUnLockKCV=9"
                       " Ex_LockParams=p Ex_LockLabel=l", lock + " Ex_LockRnd"),
        sample("7016", "Ex_LockId=L1", lock + " Ex_LockVer Ex_HSCVer Ex_LockParam Ex_LockBoot Ex_LockAppCrc Ex_LockStatus"
                                              " Ex_LockRnd"),
        {"7018", {{"Ex_LockNum", " 1x"}}, {"Ex_SrcSeqNo", "Ex_RetCode"},
         "<LockList><Ex_LockId>L1</Ex_LockId><Ex_Action>00</Ex_Action><Ex_OTCCode>1</Ex_OTCCode>"
         "<Ex_UserA>a</Ex_UserA><Ex_UserB>b</Ex_UserB></LockList>"},
        sample("7019", "", "Ex_SrcSeqNo Ex_RetCode Ex_LockNum"),
        sample("9001", "Ex_SrcSeqNo=- Ex_PdaSn=- Ex_RetCode=000000 Ex_ScanState=1", ""),
        sample("9001", "Ex_SrcSeqNo=- Ex_RetCode=000000 Ex_PdaSn=-", ""),
        sample("9002", "Ex_PdaSn=P1 Ex_RetCode=000031", ""),
        sample("9004", "Ex_SrcSeqNo=- Ex_RetCode=000000", ""),
        sample("9005", "Ex_SrcSeqNo=- Ex_RetCode=000000", ""),
        sample("9006", "Ex_SrcSeqNo=- Ex_PdaSn=- Ex_RetCode=000000", ""),
    };
}
// clang-format on

/// A terminal that has what the samples ask for.
class TestedTerminal : public Conversation {
public:
    TestedTerminal() {
        pdasim::Lock lock;
        lock.id = "L1";
        terminal.state().locks = {lock};
        terminal.state().files.offered[7] = "3132";
    }

    /// What the terminal has against the message with other tags.
    Texts violationsOf(const Sample& sample, const Tags& tags) {
        (void)answer(sample.type, body(tags) + sample.groups);
        return takeViolations();
    }
};

Texts namesIn(const std::string& reply) {
    const std::string tags = reply.substr(0, reply.find("<LockList>"));
    Texts found;
    for (std::size_t at = tags.find("<Ex_"); at != std::string::npos; at = tags.find("<Ex_", at + 1)) {
        found.push_back(tags.substr(at + 1, tags.find('>', at) - at - 1));
    }
    return found;
}

TEST(EachMessage, IsAcceptedAndAnsweredUnderItsTypeWithTheTagsOfItsKind) {
    for (const Sample& sample : samples()) {
        TestedTerminal tested;
        const std::string reply = tested.ask(sample.type, body(sample.tags) + sample.groups);
        EXPECT_EQ(tested.takeViolations(), Texts()) << sample.type;
        ASSERT_EQ(reply.empty(), sample.replyNames.empty()) << sample.type;
        if (!reply.empty()) {
            EXPECT_EQ(std::stoul(reply.substr(0, 6)), reply.size()) << sample.type;
            EXPECT_EQ(reply.substr(6, 106),
                      sample.type + "QEV   000000000000000000000000        05"
                                    "<Ex_TrTime>20260304050607</Ex_TrTime><Ex_SeqNo>0001</Ex_SeqNo>");
            EXPECT_EQ(namesIn(reply.substr(112)), sample.replyNames) << sample.type;
        }
    }
}

TEST(EachMessage, HasTheNamesOfItsTagsListed) {
    for (const Sample& sample : samples()) {
        const Texts asked = pdasim::requestTagNames(sample.type);
        for (const Tag& tag : sample.tags) {
            EXPECT_EQ(std::count(asked.begin(), asked.end(), tag.name), 1) << sample.type << tag.name;
        }
        EXPECT_EQ(std::count(asked.begin(), asked.end(), "Ex_OTCCode"), sample.groups.empty() ? 0 : 1);
        Texts answered = sample.replyNames;
        if (!answered.empty()) {
            answered.insert(answered.begin(), {"Ex_TrTime", "Ex_SeqNo"});
        }
        EXPECT_EQ(pdasim::replyTagNames(sample.type), answered) << sample.type;
    }
}

TEST(EachMessage, BreaksARuleWithATagMissingForeignOrOutOfOrder) {
    for (const Sample& sample : samples()) {
        TestedTerminal tested;
        const auto expectViolation = [&](const char* what, auto change) {
            Tags tags = sample.tags;
            change(tags);
            EXPECT_EQ(tested.violationsOf(sample, tags).size(), 1U) << sample.type << what << body(tags);
        };
        expectViolation(" foreign first ", [](Tags& tags) { tags.insert(tags.begin(), {"Ex_Foreign", ""}); });
        expectViolation(" foreign last ", [](Tags& tags) { tags.push_back({"Ex_Foreign", ""}); });
        for (std::size_t i = 0; i < sample.tags.size(); ++i) {
            expectViolation(" missing ",
                            [i](Tags& tags) { tags.erase(std::next(tags.begin(), static_cast<int>(i))); });
            if (i > 0) {
                expectViolation(" swapped ", [i](Tags& tags) { std::swap(tags[i - 1], tags[i]); });
            }
        }
    }
}

TEST(EachMessage, HasItsNumbersWrittenAsNumbers) {
    const std::set<std::string> numbers = {"Ex_Total", "Ex_TaskType", "Ex_CmdEx", "Ex_TotalPkt", "Ex_CurPkt"};
    for (const Sample& sample : samples()) {
        for (std::size_t i = 0; i < sample.tags.size(); ++i) {
            if (numbers.count(sample.tags[i].name) != 0) {
                Tags tags = sample.tags;
                tags[i].value = "0" + tags[i].value;
                const Texts violations = TestedTerminal().violationsOf(sample, tags);
                ASSERT_FALSE(violations.empty()) << sample.type << tags[i].name;
                EXPECT_EQ(violations[0], "message 1 of type " + sample.type + ": " + tags[i].name + " is \"" +
                                             tags[i].value + "\", not a number");
            }
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
