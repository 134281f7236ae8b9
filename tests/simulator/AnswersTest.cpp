#include "Conversation.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using pdasim::Confirmation;
using pdasim::Lock;
using pdasim::TerminalState;
using pdasim::test::Conversation;
using Texts = std::vector<std::string>;

/// What the terminal answers and remembers. No message here may break a rule.
class Answers : public testing::Test {
protected:
    ~Answers() override { EXPECT_EQ(host.takeViolations(), Texts()); }

    TerminalState& state() { return host.terminal.state(); }

    Conversation host;
};

Confirmation confirmation(const std::string& party) {
    return {"l" + party, "n" + party, "f" + party, "r" + party, "p" + party, "m" + party};
}

/// The tags of that confirmation, in the words of Conversation::expect().
std::string confirmationTags(const std::string& prefix, const std::string& party) {
    return " " + prefix + "Login=l" + party + " " + prefix + "Name=n" + party + " " + prefix + "FigData=f" +
           party + " " + prefix + "Rnd=r" + party + " " + prefix + "Pwd=p" + party + " " + prefix +
           "MacChkVal=m" + party;
}

const std::string kNoConfirmation = " Ex_Login= Ex_Name= Ex_FigData= Ex_Rnd= Ex_Pwd= Ex_MacChkVal=";
const std::string kNoParties = " Ex_ALogin= Ex_AName= Ex_AFigData= Ex_ARnd= Ex_APwd= Ex_AMacChkVal="
                               " Ex_BLogin= Ex_BName= Ex_BFigData= Ex_BRnd= Ex_BPwd= Ex_BMacChkVal="
                               " Ex_CLogin= Ex_CName= Ex_CFigData= Ex_CRnd= Ex_CPwd= Ex_CMacChkVal=";

TEST_F(Answers, AnInitialisationIsRemembered) {
    state().identity.vendor = "ACME";
    host.expect("8002 Ex_PdaSn=P1 Ex_Factory=F1 -> Ex_EIMI=860123456789012 Ex_Vender=ACME Ex_RetCode=000000");
    EXPECT_EQ((Texts{state().assignedNumber, state().factory}), (Texts{"P1", "F1"}));
}

TEST_F(Answers, EachWrittenLabelGetsATagOfItsOwn) {
    host.expect("8003 Ex_Label=A Ex_OrgNm=o Ex_BagType=b -> Ex_Tid=TID0001 Ex_RetCode=000000\n"
                "8003 Ex_Label=B Ex_OrgNm= Ex_BagType= -> Ex_Tid=TID0002 Ex_RetCode=000000");
    ASSERT_EQ(state().writtenLabels.size(), 2U);
    const pdasim::WrittenLabel& first = state().writtenLabels[0];
    EXPECT_EQ((Texts{first.label, first.organisation, first.bagType, first.tagId}),
              (Texts{"A", "o", "b", "TID0001"}));
}

TEST_F(Answers, AScanRunBeginsEmptyAndKeepsItsLabelsWhenItIsStopped) {
    state().scan.labels = {"old"};
    host.expect("8005 Ex_PdaSn= -> Ex_Label=old; Ex_ScanState=0\n"
                "8004 Ex_PdaSn= Ex_Cmd=1 -> Ex_RetCode=000000\n"
                "8005 Ex_PdaSn= -> Ex_Label= Ex_ScanState=1");
    state().scan.labels = {"A1", "A2"};
    host.expect("8004 Ex_PdaSn= Ex_Cmd=0 -> Ex_RetCode=000000\n"
                "8005 Ex_PdaSn= -> Ex_Label=A1;A2; Ex_ScanState=0\n"
                "8004 Ex_PdaSn= Ex_Cmd=2 -> Ex_RetCode=000001\n"
                "8005 Ex_PdaSn= -> Ex_Label=A1;A2; Ex_ScanState=0");
}

TEST_F(Answers, AnInventoryTaskTakesThePlaceOfTheLastOneAndItsResult) {
    state().inventory.result = {"T0", {"A"}, {"B", "C"}, "1", confirmation(""), "2"};
    host.expect("8007 Ex_PdaSn= -> Ex_TaskId=T0 Ex_Label=A; Ex_ErrLabel=B;C; Ex_Offline=1" +
                confirmationTags("Ex_", "") +
                " Ex_InvenSta=2\n"
                "8006 Ex_PdaSn=P Ex_TaskId=T1 Ex_Total=3 Ex_Label=A;B;C -> Ex_RetCode=000000\n"
                "8007 Ex_PdaSn= -> Ex_TaskId=T1 Ex_Label= Ex_ErrLabel= Ex_Offline=0" +
                kNoConfirmation + " Ex_InvenSta=0");
    const pdasim::InventoryTask& task = state().inventory.task;
    EXPECT_EQ((Texts{task.taskId, task.total, task.labels}), (Texts{"T1", "3", "A;B;C"}));
}

/// A kind of handover: its task, the query for its result, and where the terminal keeps it.
struct HandoverCase {
    std::string task;
    std::string query;
    std::string subject;
    pdasim::Handovers TerminalState::*handovers;
};

void expectKeptByItsTask(const HandoverCase& kind, Conversation& host) {
    const std::string underWay = " Ex_Time= Ex_Label= Ex_ErrLabel=" + kNoParties + " Ex_State=0\n";
    const std::string begun = kind.task + kind.query + "T1" + kind.subject + "S7" + underWay;
    host.expect(begun + kind.query + "T2" + kind.subject + underWay);
    pdasim::Handovers& handovers = host.terminal.state().*kind.handovers;
    ASSERT_EQ(handovers.size(), 1U);
    EXPECT_EQ(handovers["T1"].task.labels, "A;");
    handovers["T1"].result = {
        "20260101", {"A"}, {"B"}, {confirmation("a"), confirmation("b"), confirmation("c")}, "1"};
    host.expect(kind.query + "T1" + kind.subject + "S7 Ex_Time=20260101 Ex_Label=A; Ex_ErrLabel=B;" +
                confirmationTags("Ex_A", "a") + confirmationTags("Ex_B", "b") +
                confirmationTags("Ex_C", "c") + " Ex_State=1\n" + begun);
}

TEST_F(Answers, HandoversAreKeptByTheirTasks) {
    expectKeptByItsTask({"8008 Ex_PdaSn=P Ex_TaskId=T1 Ex_TaskType=2 Ex_Road=S7 Ex_ExcgTime=E Ex_OrgNum=N "
                         "Ex_OrgNm=O Ex_Total=1 Ex_Label=A; Ex_UserA=ua Ex_UserB=ub -> Ex_RetCode=000000\n",
                         "8009 Ex_PdaSn= Ex_TaskId=", " -> Ex_Road=", &TerminalState::dotHandovers},
                        host);
    expectKeptByItsTask(
        {"8010 Ex_PdaSn=P Ex_OrgNb=N Ex_Time=E Ex_OrgNm=O Ex_BatchNb=S7 Ex_TaskId=T1 Ex_Total=1 "
         "Ex_Label=A; -> Ex_RetCode=000000\n",
         "8011 Ex_PdaSn= Ex_TaskId=", " -> Ex_BatchNb=", &TerminalState::powerHandovers},
        host);
}

TEST_F(Answers, KeysAreKeptAndTheMasterKeysCheckValueToldAgain) {
    host.expect("8013 Ex_PdaSn= -> Ex_CheckVal= Ex_RetCode=000002\n"
                "8012 Ex_PdaSn= Ex_Key=K Ex_CheckVal=C -> Ex_RetCode=000000\n"
                "8013 Ex_PdaSn= -> Ex_CheckVal=C Ex_RetCode=000000\n"
                "8014 Ex_PdaSn= Ex_EncKey=e Ex_MacKey=m Ex_EncChkVal=E Ex_MacChkVal=M -> Ex_RetCode=000000");
    const pdasim::Keys& keys = state().keys;
    EXPECT_EQ((Texts{keys.master->value, keys.encryption->value, keys.encryption->checkValue, keys.mac->value,
                     keys.mac->checkValue}),
              (Texts{"K", "e", "E", "m", "M"}));
}

TEST_F(Answers, TheRegisteredTellerIsToldAndListsOfTellersAreKept) {
    host.expect("8017 Ex_PdaSn= -> Ex_RetCode=000005 Ex_TellerNo=\n"
                "8018 Ex_PdaSn= Ex_Total=2 Ex_AuthRet=a,1;b,0;c -> Ex_RetCode=000000\n"
                "8019 Ex_PdaSn= Ex_Total=1 Ex_TellerNo=17; -> Ex_RetCode=000000");
    state().tellers.registered = "0815";
    host.expect("8017 Ex_PdaSn= -> Ex_RetCode=000000 Ex_TellerNo=0815");
    EXPECT_EQ(state().tellers.authenticationResults, (Texts{"a,1", "b,0"}));
    EXPECT_EQ(state().tellers.escorts, Texts{"17"});
}

TEST_F(Answers, TheBluetoothAddressIsKept) {
    host.expect("7001 Ex_BleMac=00:11:22 -> Ex_RetCode=000000");
    EXPECT_EQ(state().bleMac, "00:11:22");
}

/// A terminal that sees the locks L1 and L2.
class LockAnswers : public Answers {
protected:
    LockAnswers() {
        state().locks.resize(2);
        Lock& first = lock(0);
        first.id = "L1";
        first.label = "vault";
        first.status = "3";
        first.rssi = "-40";
        first.publicKey = "PK";
        first.factor = "FC";
        first.cdkk = {"F", "E", "C"};
        lock(1).id = "L2";
    }

    Lock& lock(std::size_t index) { return state().locks.at(index); }
};

TEST_F(LockAnswers, EachLockIsAGroupOfTheList) {
    host.expect("7011 -> Ex_SrcSeqNo=0001 Ex_RetCode=000000 Ex_LockNum=2"
                " ( Ex_LockId=L1 Ex_LockLabel=vault Ex_LockStatus=3 Ex_LockRssi=-40 )"
                " ( Ex_LockId=L2 Ex_LockLabel= Ex_LockStatus=0 Ex_LockRssi=-60 )");
    state().locks.clear();
    host.expect("7011 -> Ex_SrcSeqNo=0002 Ex_RetCode=000000 Ex_LockNum=0");
}

TEST_F(LockAnswers, ALockTellsOfItselfAndAnUnknownOneIsRefused) {
    host.expect("7016 Ex_LockId=L1 -> Ex_SrcSeqNo=0001 Ex_RetCode=000000 Ex_LockId=L1 Ex_LockVer=LOCK-1.0"
                " Ex_HSCVer=HSC-1.0 Ex_LockParam=00 Ex_LockBoot=BOOT-1.0 Ex_LockAppCrc=1234 Ex_LockStatus=3"
                " Ex_LockRnd=0011223344556677\n"
                "7012 Ex_LockId=L1 -> Ex_SrcSeqNo=0002 Ex_RetCode=000000 Ex_LockId=L1 Ex_PublicKey=PK"
                " Ex_FactorCDK=FC\n"
                "7014 Ex_LockId=L1 -> Ex_SrcSeqNo=0003 Ex_RetCode=000000 Ex_LockId=L1 Ex_CurrentCDKKFV=F"
                " Ex_CurrentCDKKCV=C\n"
                "7012 Ex_LockId=L9 -> Ex_SrcSeqNo=0004 Ex_RetCode=000006 Ex_LockId=L9\n"
                "7014 Ex_LockId=L9 -> Ex_SrcSeqNo=0005 Ex_RetCode=000006 Ex_LockId=L9\n"
                "7016 Ex_LockId=L9 -> Ex_SrcSeqNo=0006 Ex_RetCode=000006 Ex_LockId=L9\n"
                "7013 Ex_LockId=L9 Ex_InitCDKKFV= Ex_InitCDKKEV= Ex_InitCDKKCV="
                " -> Ex_SrcSeqNo=0007 Ex_RetCode=000006 Ex_LockId=L9");
}

TEST_F(LockAnswers, KeysParametersAndLabelAreKept) {
    host.expect("7013 Ex_LockId=L2 Ex_InitCDKKFV=1 Ex_InitCDKKEV=2 Ex_InitCDKKCV=3"
                " -> Ex_SrcSeqNo=0001 Ex_RetCode=000000 Ex_LockId=L2\n"
                "7015 Ex_LockId=L1 Ex_NewCDKKFV=4 Ex_NewCDKKEV=5 Ex_NewCDKKCV=6 Ex_NormalUnLockKFV="
                " Ex_NormalUnLockKEV= Ex_NormalUnLockKCV= Ex_UrgentUnLockKFV= Ex_UrgentUnLockKEV="
                " Ex_UrgentUnLockKCV= Ex_LockParams=p Ex_LockLabel=l"
                " -> Ex_SrcSeqNo=0002 Ex_RetCode=000000 Ex_LockId=L1 Ex_LockRnd=0011223344556677");
    EXPECT_EQ((Texts{lock(1).cdkk.fv, lock(1).cdkk.ev, lock(1).cdkk.cv}), (Texts{"1", "2", "3"}));
    EXPECT_EQ((Texts{lock(0).cdkk.fv, lock(0).cdkk.ev, lock(0).cdkk.cv, lock(0).params, lock(0).label}),
              (Texts{"4", "5", "6", "p", "l"}));
}

TEST_F(LockAnswers, OperationsAreKeptUntilTheNextBatchAndTheirResultsTold) {
    host.expect("7018 Ex_LockNum=2 ( Ex_LockId=L2 Ex_Action=00 Ex_OTCCode=77 Ex_UserA=a Ex_UserB=b )"
                " ( Ex_LockId=L9 Ex_Action=01 Ex_OTCCode= Ex_UserA=c Ex_UserB=d )"
                " -> Ex_SrcSeqNo=0001 Ex_RetCode=000000\n"
                "7019 -> Ex_SrcSeqNo=0002 Ex_RetCode=000000 Ex_LockNum=2"
                " ( Ex_LockId=L2 Ex_Action=00 Ex_Result=00 Ex_UserA=a Ex_UserB=b Ex_LockRnd=0011223344556677"
                " Ex_OpenTime=20260304050607 Ex_Bat=80 )"
                " ( Ex_LockId=L9 Ex_Action=01 Ex_Result=01 Ex_UserA=c Ex_UserB=d Ex_LockRnd= Ex_OpenTime="
                " Ex_Bat= )");
    EXPECT_EQ(state().lockOperations.at(0).oneTimeCode, "77");
    const pdasim::ParsedMessage& message = host.terminal.messages().at(0);
    EXPECT_EQ(message.value("Ex_LockNum"), "2");
    EXPECT_EQ(message.value("Ex_LockId"), std::nullopt);
    EXPECT_EQ(message.groups.at(1).at(3).value, "c");
    host.expect("7018 Ex_LockNum=0 -> Ex_SrcSeqNo=0003 Ex_RetCode=000000\n"
                "7019 -> Ex_SrcSeqNo=0004 Ex_RetCode=000000 Ex_LockNum=0");
}

} // namespace
