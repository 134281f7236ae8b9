#include "Conversation.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using pdasim::Confirmation;
using pdasim::TerminalState;
using pdasim::test::Accepted;
using pdasim::test::body;
using pdasim::test::Conversation;
using pdasim::test::tagsOf;
using Texts = std::vector<std::string>;

/// What the terminal answers and remembers. No message here may break a rule.
class Answers : public testing::Test {
protected:
    ~Answers() override { EXPECT_EQ(host.takeViolations(), Texts()); }

    TerminalState& state() { return host.terminal.state(); }

    Conversation host;
};

Confirmation confirmation(const std::string& party) {
    return {"login" + party, "name" + party, "finger" + party, "rnd" + party, "pwd" + party, "mac" + party};
}

std::string confirmationTags(const std::string& prefix, const std::string& party) {
    return body({{prefix + "Login", "login" + party},
                 {prefix + "Name", "name" + party},
                 {prefix + "FigData", "finger" + party},
                 {prefix + "Rnd", "rnd" + party},
                 {prefix + "Pwd", "pwd" + party},
                 {prefix + "MacChkVal", "mac" + party}});
}

TEST_F(Answers, EachWrittenLabelGetsATagOfItsOwn) {
    EXPECT_EQ(host.answer("8003", tagsOf("Ex_Label=A Ex_OrgNm=o Ex_BagType=b")),
              body("Ex_Tid=TID0001 Ex_RetCode=000000"));
    EXPECT_EQ(host.answer("8003", tagsOf("Ex_Label=B Ex_OrgNm= Ex_BagType=")),
              body("Ex_Tid=TID0002 Ex_RetCode=000000"));
    ASSERT_EQ(state().writtenLabels.size(), 2U);
    EXPECT_EQ(state().writtenLabels[0].label, "A");
    EXPECT_EQ(state().writtenLabels[0].organisation, "o");
    EXPECT_EQ(state().writtenLabels[0].bagType, "b");
    EXPECT_EQ(state().writtenLabels[1].tagId, "TID0002");
}

TEST_F(Answers, AScanRunBeginsEmptyAndKeepsItsLabelsWhenItIsStopped) {
    const auto list = [this] { return host.answer("8005", {{"Ex_PdaSn", ""}}); };
    const auto command = [this](const std::string& text) {
        return host.answer("8004", {{"Ex_PdaSn", ""}, {"Ex_Cmd", text}});
    };
    state().scan.labels = {"old"};
    EXPECT_EQ(list(), body("Ex_Label=old; Ex_ScanState=0"));
    EXPECT_EQ(command("1"), Accepted);
    EXPECT_EQ(list(), body("Ex_Label= Ex_ScanState=1"));
    state().scan.labels = {"A1", "A2"};
    EXPECT_EQ(command("0"), Accepted);
    EXPECT_EQ(list(), body("Ex_Label=A1;A2; Ex_ScanState=0"));
    EXPECT_EQ(command("2"), body({{"Ex_RetCode", "000001"}}));
    EXPECT_EQ(list(), body("Ex_Label=A1;A2; Ex_ScanState=0"));
}

TEST_F(Answers, AnInventoryTaskTakesThePlaceOfTheLastOneAndItsResult) {
    const auto result = [this] { return host.answer("8007", {{"Ex_PdaSn", ""}}); };
    state().inventory.result = {"T0", {"A"}, {"B", "C"}, "1", confirmation(""), "2"};
    EXPECT_EQ(result(), body("Ex_TaskId=T0 Ex_Label=A; Ex_ErrLabel=B;C; Ex_Offline=1") +
                            confirmationTags("Ex_", "") + body({{"Ex_InvenSta", "2"}}));
    EXPECT_EQ(host.answer("8006", tagsOf("Ex_PdaSn=P Ex_TaskId=T1 Ex_Total=3 Ex_Label=A;B;C")), Accepted);
    EXPECT_EQ(state().inventory.task.number, "P");
    EXPECT_EQ(state().inventory.task.taskId, "T1");
    EXPECT_EQ(state().inventory.task.total, "3");
    EXPECT_EQ(state().inventory.task.labels, "A;B;C");
    EXPECT_EQ(result().substr(0, 60), "<Ex_TaskId>T1</Ex_TaskId><Ex_Label></Ex_Label><Ex_ErrLabel><");
    EXPECT_NE(result().find("<Ex_InvenSta>0</Ex_InvenSta>"), std::string::npos);
}

TEST_F(Answers, ADotHandoverIsKeptByItsTask) {
    const auto result = [this](const std::string& task) {
        return host.answer("8009", {{"Ex_PdaSn", ""}, {"Ex_TaskId", task}});
    };
    EXPECT_EQ(
        host.answer(
            "8008",
            tagsOf("Ex_PdaSn=P Ex_TaskId=T1 Ex_TaskType=2 Ex_Road=R Ex_ExcgTime=E Ex_OrgNum=N Ex_OrgNm=O "
                   "Ex_Total=1 Ex_Label=A; Ex_UserA=ua Ex_UserB=ub")),
        Accepted);
    const pdasim::DotTask& task = state().dotHandovers["T1"].task;
    EXPECT_EQ((Texts{task.number, task.taskType, task.road, task.exchangeTime, task.organisationNumber,
                     task.organisationName, task.total, task.labels, task.userA, task.userB}),
              (Texts{"P", "2", "R", "E", "N", "O", "1", "A;", "ua", "ub"}));
    EXPECT_EQ(result("T1").substr(0, 39), "<Ex_Road>R</Ex_Road><Ex_Time></Ex_Time>");
    EXPECT_EQ(result("T2").substr(0, 38), "<Ex_Road></Ex_Road><Ex_Time></Ex_Time>");
    EXPECT_NE(result("T2").find("<Ex_State>0</Ex_State>"), std::string::npos);
    EXPECT_EQ(state().dotHandovers.size(), 1U);
    state().dotHandovers["T1"].result = {
        "20260101", {"A"}, {"B"}, {confirmation("a"), confirmation("b"), confirmation("c")}, "1"};
    EXPECT_EQ(result("T1"), body("Ex_Road=R Ex_Time=20260101 Ex_Label=A; Ex_ErrLabel=B;") +
                                confirmationTags("Ex_A", "a") + confirmationTags("Ex_B", "b") +
                                confirmationTags("Ex_C", "c") + body({{"Ex_State", "1"}}));
}

TEST_F(Answers, APowerHandoverIsKeptByItsTask) {
    const auto task = [this] {
        return host.answer(
            "8010", tagsOf("Ex_PdaSn=P Ex_OrgNb=N Ex_Time=E Ex_OrgNm=O Ex_BatchNb=B7 Ex_TaskId=T1 Ex_Total=1 "
                           "Ex_Label=A;"));
    };
    EXPECT_EQ(task(), Accepted);
    const pdasim::PowerTask& kept = state().powerHandovers["T1"].task;
    EXPECT_EQ((Texts{kept.number, kept.organisationNumber, kept.time, kept.organisationName, kept.batch,
                     kept.total, kept.labels}),
              (Texts{"P", "N", "E", "O", "B7", "1", "A;"}));
    state().powerHandovers["T1"].result = {
        "20260101", {"A"}, {"B"}, {confirmation("a"), confirmation("b"), confirmation("c")}, "00"};
    const auto result = [this] { return host.answer("8011", tagsOf("Ex_PdaSn= Ex_TaskId=T1")); };
    EXPECT_EQ(result(), body("Ex_BatchNb=B7 Ex_Time=20260101 Ex_Label=A; Ex_ErrLabel=B;") +
                            confirmationTags("Ex_A", "a") + confirmationTags("Ex_B", "b") +
                            confirmationTags("Ex_C", "c") + body({{"Ex_State", "00"}}));
    EXPECT_EQ(task(), Accepted);
    EXPECT_NE(result().find("<Ex_State>0</Ex_State>"), std::string::npos);
}

TEST_F(Answers, KeysAreKeptAndTheMasterKeysCheckValueToldAgain) {
    const auto checkValue = [this] { return host.answer("8013", {{"Ex_PdaSn", ""}}); };
    EXPECT_EQ(checkValue(), body("Ex_CheckVal= Ex_RetCode=000002"));
    EXPECT_EQ(host.answer("8012", tagsOf("Ex_PdaSn= Ex_Key=K Ex_CheckVal=C")), Accepted);
    EXPECT_EQ(checkValue(), body("Ex_CheckVal=C Ex_RetCode=000000"));
    EXPECT_EQ(host.answer("8014", tagsOf("Ex_PdaSn= Ex_EncKey=e Ex_MacKey=m Ex_EncChkVal=E Ex_MacChkVal=M")),
              Accepted);
    EXPECT_EQ(state().keys.master.value().value, "K");
    EXPECT_EQ(state().keys.encryption.value().value, "e");
    EXPECT_EQ(state().keys.encryption.value().checkValue, "E");
    EXPECT_EQ(state().keys.mac.value().value, "m");
    EXPECT_EQ(state().keys.mac.value().checkValue, "M");
}

TEST_F(Answers, TheRegisteredTellerIsTold) {
    const auto teller = [this] { return host.answer("8017", {{"Ex_PdaSn", ""}}); };
    EXPECT_EQ(teller(), body("Ex_RetCode=000005 Ex_TellerNo="));
    state().tellers.registered = "0815";
    EXPECT_EQ(teller(), body("Ex_RetCode=000000 Ex_TellerNo=0815"));
}

TEST_F(Answers, ListsOfTellersAreKept) {
    EXPECT_EQ(host.answer("8018", tagsOf("Ex_PdaSn= Ex_Total=2 Ex_AuthRet=a,1;b,0;c")), Accepted);
    EXPECT_EQ(host.answer("8019", tagsOf("Ex_PdaSn= Ex_Total=1 Ex_TellerNo=17;")), Accepted);
    EXPECT_EQ(state().tellers.authenticationResults, (Texts{"a,1", "b,0"}));
    EXPECT_EQ(state().tellers.escorts, Texts{"17"});
}

} // namespace
