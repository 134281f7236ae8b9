#include "TransactionFixture.h"

namespace {

using pdasim::Fault;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

/// What the terminal relays to locks.
class LockCommand : public TransactionTest {
protected:
    /// How GetCDKKEV_CDKKCV ends.
    std::vector<std::string> currentKeys() {
        OutputBuffer source;
        OutputBuffer retCode;
        OutputBuffer id;
        OutputBuffer fv;
        OutputBuffer cv;
        const int result = analyser().GetCDKKEV_CDKKCV(HostText("L"), source.data(), retCode.data(),
                                                       id.data(), fv.data(), cv.data());
        return {std::to_string(result), source.written(), retCode.written(),
                id.written(),           fv.written(),     cv.written()};
    }
    int updateKeys(char* text, char* retCode) {
        return analyser().updateCDKKEV(text, text, text, text, text, text, text, text, text, text, text, text,
                                       nullptr, retCode, nullptr, nullptr);
    }
};

TEST_F(LockCommand, WithoutAReplyLeavesTheResultCodeAlone) {
    terminal().addFault("7001", Fault().silence());
    OutputBuffer retCode;
    const Milliseconds time =
        timeOf([&] { EXPECT_EQ(analyser().SetBleMac(HostText("01:02"), retCode.data()), 2); });
    EXPECT_GE(time, kSilentWait);
    EXPECT_EQ(retCode.written(), "");
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(LockCommand, KnowsNoTerminalNumber) {
    answer("7001", tag("Ex_RetCode", "000000"));
    analyser().SetBleMac(HostText("01:02"), nullptr);
    EXPECT_EQ(newMaskedMessage(), maskedMessage("7001", "0001", "<Ex_BleMac>01:02</Ex_BleMac>"));
}

TEST_F(LockCommand, OfABluetoothAddressIsTheOnlyOneAnnouncedInTheLog) {
    answer("7001", tag("Ex_RetCode", "000000"));
    analyser().SetBleMac(HostText("01:02"), nullptr);
    EXPECT_THAT(newLines(), Contains("4 SetBleMac SendData pre: " + newMessage()));
    answer("7012", "");
    analyser().GetPublicKey(HostText("L"), nullptr, nullptr, nullptr, nullptr, nullptr);
    EXPECT_THAT(newLines(), Not(Contains(HasSubstr("SendData pre"))));
}

TEST_F(LockCommand, SharesItsNumbersWithTheTransactions) {
    EXPECT_EQ(getInfo().result, 0);
    newMessage();
    answer("7011", "");
    analyser().GetLockList(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(newMaskedMessage(), maskedMessage("7011", "0002", ""));
}

TEST_F(LockCommand, ForTheCurrentKeysReadsNoEv) {
    answer("7014", tag("Ex_SrcSeqNo", "0009") + tag("Ex_RetCode", "000000") + tag("Ex_LockId", "L") +
                       tag("Ex_CurrentCDKKFV", "fv") + tag("Ex_CurrentCDKKEV", "ev") +
                       tag("Ex_CurrentCDKKCV", "cv"));
    EXPECT_EQ(currentKeys(), (std::vector<std::string>{"0", "0009", "000000", "L", "fv", "cv"}));
    answer("7014", tag("Ex_CurrentCDKKEV", "ev"));
    EXPECT_EQ(currentKeys(), (std::vector<std::string>{"0", "", "", "", "", ""}));
}

TEST_F(LockCommand, ThatTheLockRefusesIsAnsweredAllTheSame) {
    answer("7014", tag("Ex_RetCode", "000099"));
    EXPECT_EQ(currentKeys(), (std::vector<std::string>{"0", "", "000099", "", "", ""}));
}

TEST_F(LockCommand, ForNewKeysSendsItsTwelveTagsInOrder) {
    answer("7015", tag("Ex_RetCode", "000000"));
    EXPECT_EQ(updateKeys(HostText(""), nullptr), 0);
    EXPECT_EQ(newBody(), "<Ex_LockId></Ex_LockId><Ex_NewCDKKFV></Ex_NewCDKKFV><Ex_NewCDKKEV></Ex_NewCDKKEV>"
                         "<Ex_NewCDKKCV></Ex_NewCDKKCV><Ex_NormalUnLockKFV></Ex_NormalUnLockKFV>"
                         "<Ex_NormalUnLockKEV></Ex_NormalUnLockKEV><Ex_NormalUnLockKCV></Ex_NormalUnLockKCV>"
                         "<Ex_UrgentUnLockKFV></Ex_UrgentUnLockKFV><Ex_UrgentUnLockKEV></Ex_UrgentUnLockKEV>"
                         "<Ex_UrgentUnLockKCV></Ex_UrgentUnLockKCV><Ex_LockParams></Ex_LockParams>"
                         "<Ex_LockLabel></Ex_LockLabel>");
}

TEST_F(LockCommand, DropsTheReplyToAnother) {
    const std::string other = reply("7013", tag("Ex_RetCode", "000000"));
    answerWith("7015", other);
    OutputBuffer retCode;
    EXPECT_EQ(updateKeys(HostText("x"), retCode.data()), 2);
    EXPECT_EQ(retCode.written(), "");
    EXPECT_THAT(newLines(), Contains("1 Read XML:" + other + " ---Wrong Command --Delete"));
}

TEST_F(LockCommand, MayHaveOneTextForInputAndOutput) {
    std::string buffer("lock-1\0##############", 21);
    answer("7012", tag("Ex_LockId", "answered"));
    EXPECT_EQ(analyser().GetPublicKey(buffer.data(), nullptr, nullptr, buffer.data(), nullptr, nullptr), 0);
    EXPECT_EQ(newBody(), "<Ex_LockId>lock-1</Ex_LockId>");
    EXPECT_EQ(buffer, "answered#############");
}

} // namespace
