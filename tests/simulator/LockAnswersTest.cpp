#include "Conversation.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using pdasim::Fault;
using pdasim::Lock;
using pdasim::test::body;
using pdasim::test::Conversation;
using pdasim::test::tagsOf;
using Texts = std::vector<std::string>;

/// A terminal that sees the locks L1 and L2.
class LockAnswers : public testing::Test {
protected:
    LockAnswers() {
        Lock first;
        first.id = "L1";
        first.label = "vault";
        first.status = "3";
        first.rssi = "-40";
        first.publicKey = "PK";
        first.factor = "FC";
        first.cdkk = {"F", "E", "C"};
        Lock second;
        second.id = "L2";
        host.terminal.state().locks = {first, second};
    }
    ~LockAnswers() override { EXPECT_EQ(host.takeViolations(), Texts()); }

    Lock& lock(std::size_t index) { return host.terminal.state().locks.at(index); }

    /// The front of the reply to the n-th message of the test.
    static std::string front(int message, const std::string& code) {
        return body({{"Ex_SrcSeqNo", pdasim::sequenceText(message)}, {"Ex_RetCode", code}});
    }
    static std::string front(int message, const std::string& code, const std::string& id) {
        return front(message, code) + body({{"Ex_LockId", id}});
    }
    static std::string group(const pdasim::Tags& tags) { return "<LockList>" + body(tags) + "</LockList>"; }

    Conversation host;
};

TEST_F(LockAnswers, TheBluetoothAddressIsKept) {
    EXPECT_EQ(host.answer("7001", {{"Ex_BleMac", "00:11:22"}}), body({{"Ex_RetCode", "000000"}}));
    EXPECT_EQ(host.terminal.state().bleMac, "00:11:22");
}

TEST_F(LockAnswers, EachLockIsAGroupOfTheList) {
    EXPECT_EQ(host.answer("7011"),
              front(1, "000000") + body({{"Ex_LockNum", "2"}}) +
                  group(tagsOf("Ex_LockId=L1 Ex_LockLabel=vault Ex_LockStatus=3 Ex_LockRssi=-40")) +
                  group(tagsOf("Ex_LockId=L2 Ex_LockLabel= Ex_LockStatus=0 Ex_LockRssi=-60")));
    host.terminal.state().locks.clear();
    EXPECT_EQ(host.answer("7011"), front(2, "000000") + body({{"Ex_LockNum", "0"}}));
}

TEST_F(LockAnswers, ALockTellsOfItself) {
    EXPECT_EQ(host.answer("7016", {{"Ex_LockId", "L1"}}),
              front(1, "000000", "L1") +
                  body("Ex_LockVer=LOCK-1.0 Ex_HSCVer=HSC-1.0 Ex_LockParam=00 Ex_LockBoot=BOOT-1.0 "
                       "Ex_LockAppCrc=1234 Ex_LockStatus=3 Ex_LockRnd=0011223344556677"));
    EXPECT_EQ(host.answer("7012", {{"Ex_LockId", "L1"}}),
              front(2, "000000", "L1") + body("Ex_PublicKey=PK Ex_FactorCDK=FC"));
    EXPECT_EQ(host.answer("7014", {{"Ex_LockId", "L1"}}),
              front(3, "000000", "L1") + body("Ex_CurrentCDKKFV=F Ex_CurrentCDKKCV=C"));
}

TEST_F(LockAnswers, AnUnknownLockIsRefused) {
    int message = 0;
    for (const std::string type : {"7012", "7014", "7016"}) {
        EXPECT_EQ(host.answer(type, {{"Ex_LockId", "L9"}}), front(++message, "000006", "L9")) << type;
    }
    EXPECT_EQ(host.answer("7013", tagsOf("Ex_LockId=L9 Ex_InitCDKKFV= Ex_InitCDKKEV= Ex_InitCDKKCV=")),
              front(4, "000006", "L9"));
}

TEST_F(LockAnswers, TheInitialKeyIsKept) {
    EXPECT_EQ(host.answer("7013", tagsOf("Ex_LockId=L2 Ex_InitCDKKFV=1 Ex_InitCDKKEV=2 Ex_InitCDKKCV=3")),
              front(1, "000000", "L2"));
    EXPECT_EQ((Texts{lock(1).cdkk.fv, lock(1).cdkk.ev, lock(1).cdkk.cv}), (Texts{"1", "2", "3"}));
    EXPECT_EQ(lock(0).cdkk.fv, "F");
}

TEST_F(LockAnswers, NewKeysParametersAndLabelAreKept) {
    const pdasim::Tags tags =
        tagsOf("Ex_LockId=L1 Ex_NewCDKKFV=1 Ex_NewCDKKEV=2 Ex_NewCDKKCV=3 Ex_NormalUnLockKFV=4 "
               "Ex_NormalUnLockKEV=5 Ex_NormalUnLockKCV=6 Ex_UrgentUnLockKFV=7 Ex_UrgentUnLockKEV=8 "
               "Ex_UrgentUnLockKCV=9 Ex_LockParams=p Ex_LockLabel=l");
    EXPECT_EQ(host.answer("7015", tags),
              front(1, "000000", "L1") + body({{"Ex_LockRnd", "0011223344556677"}}));
    const Lock& changed = lock(0);
    EXPECT_EQ((Texts{changed.cdkk.fv, changed.cdkk.ev, changed.cdkk.cv, changed.normalUnlock.fv,
                     changed.normalUnlock.ev, changed.normalUnlock.cv, changed.urgentUnlock.fv,
                     changed.urgentUnlock.ev, changed.urgentUnlock.cv, changed.params, changed.label}),
              (Texts{"1", "2", "3", "4", "5", "6", "7", "8", "9", "p", "l"}));
}

TEST_F(LockAnswers, OperationsAreKeptUntilTheNextBatchAndTheirResultsTold) {
    const auto operation = [](const std::string& id, const std::string& action, const std::string& code) {
        return group({{"Ex_LockId", id},
                      {"Ex_Action", action},
                      {"Ex_OTCCode", code},
                      {"Ex_UserA", "a" + id},
                      {"Ex_UserB", "b" + id}});
    };
    EXPECT_EQ(
        host.answer("7018", {{"Ex_LockNum", "2"}}, operation("L2", "00", "77") + operation("L9", "01", "")),
        front(1, "000000"));
    EXPECT_EQ(host.terminal.state().lockOperations.at(0).oneTimeCode, "77");
    EXPECT_EQ(host.answer("7019"),
              front(2, "000000") + body({{"Ex_LockNum", "2"}}) +
                  group(tagsOf("Ex_LockId=L2 Ex_Action=00 Ex_Result=00 Ex_UserA=aL2 Ex_UserB=bL2 "
                               "Ex_LockRnd=0011223344556677 Ex_OpenTime=20260304050607 Ex_Bat=80")) +
                  group(tagsOf("Ex_LockId=L9 Ex_Action=01 Ex_Result=01 Ex_UserA=aL9 Ex_UserB=bL9 Ex_LockRnd= "
                               "Ex_OpenTime= Ex_Bat=")));
    EXPECT_EQ(host.answer("7018", {{"Ex_LockNum", "0"}}), front(3, "000000"));
    EXPECT_EQ(host.answer("7019"), front(4, "000000") + body({{"Ex_LockNum", "0"}}));
}

TEST_F(LockAnswers, TheMessageTakenApartHasTheGroups) {
    const std::string entry = group(tagsOf("Ex_LockId=L1 Ex_Action=01 Ex_OTCCode= Ex_UserA= Ex_UserB=b"));
    (void)host.answer("7018", {{"Ex_LockNum", "1"}}, entry);
    const pdasim::ParsedMessage& message = host.terminal.messages().at(0);
    EXPECT_EQ(message.type, "7018");
    EXPECT_EQ(message.sequence, "0001");
    EXPECT_EQ(message.value("Ex_LockNum"), "1");
    EXPECT_EQ(message.value("Ex_LockId"), std::nullopt);
    ASSERT_EQ(message.groups.size(), 1U);
    EXPECT_EQ(pdasim::test::names(message.groups[0]),
              (Texts{"Ex_LockId", "Ex_Action", "Ex_OTCCode", "Ex_UserA", "Ex_UserB"}));
}

TEST_F(LockAnswers, SingleEntriesOfAListCanLackOrReplaceTheirTags) {
    host.terminal.addFault("7011", Fault()
                                       .dropLockTag(0, "Ex_LockRssi")
                                       .setLockTag(1, "Ex_LockLabel", "\xFF")
                                       .setLockTag(1, "Ex_New", "n")
                                       .dropLockTag(2, "Ex_LockId")
                                       .setLockTag(2, "Ex_LockId", "x"));
    EXPECT_EQ(host.answer("7011"), front(1, "000000") + body({{"Ex_LockNum", "2"}}) +
                                       group(tagsOf("Ex_LockId=L1 Ex_LockLabel=vault Ex_LockStatus=3")) +
                                       group({{"Ex_LockId", "L2"},
                                              {"Ex_LockLabel", "\xFF"},
                                              {"Ex_LockStatus", "0"},
                                              {"Ex_LockRssi", "-60"},
                                              {"Ex_New", "n"}}));
}

TEST_F(LockAnswers, AListCanGrowFarBeyondItsNumber) {
    host.terminal.addFault("7011", Fault().growLockList(2001));
    const std::string reply = host.answer("7011");
    std::size_t entries = 0;
    for (std::size_t at = reply.find("<LockList>"); at != std::string::npos;
         at = reply.find("<LockList>", at + 1)) {
        ++entries;
    }
    EXPECT_EQ(entries, 2001U);
    EXPECT_NE(reply.find("<Ex_LockNum>2</Ex_LockNum>"), std::string::npos);
    const std::size_t last = reply.rfind("<LockList>");
    EXPECT_EQ(reply.substr(last, 33), "<LockList><Ex_LockId>L1</Ex_LockI");
    host.terminal.state().locks.clear();
    host.terminal.addFault("7011", Fault().growLockList(3));
    EXPECT_EQ(host.answer("7011"), front(2, "000000") + body({{"Ex_LockNum", "0"}}));
}

} // namespace
