#include "FileFixture.h"
#include "tests/interface/FailingAllocation.h"

#include <cerrno>

namespace {

using pdasim::Fault;
using testing::ElementsAre;

/// Files of three packets of which one meets trouble: the number of those before it.
class FileSendingInTrouble : public FileTest, public testing::WithParamInterface<std::size_t> {
protected:
    static std::size_t good() { return GetParam(); }

    /// What the trouble makes of the transfer. The good packets leave their code behind.
    Transfer sendInto(const Fault& trouble) {
        if (good() > 0) {
            agree(good());
        }
        terminal().addFault("8015", trouble);
        return send(digits(6010));
    }
    void expectGivenUpAtOnce() {
        EXPECT_EQ(newBodies().size(), good() + 1);
        EXPECT_EQ(m_SeqNo, static_cast<int>(good()) + 1);
    }
    static std::string codeOfTheGood() { return good() > 0 ? "000000" : ""; }
};

TEST_P(FileSendingInTrouble, EndsAfterOneSilentWait) {
    const Milliseconds time = timeOf([this] {
        EXPECT_EQ(sendInto(Fault().silence()), (Transfer{2, "000060", ""}));
    });
    EXPECT_GE(time, kSilentWait);
    EXPECT_LT(time, 2 * kSilentWait);
    EXPECT_EQ(waitsInVain(), 1);
    expectGivenUpAtOnce();
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_P(FileSendingInTrouble, EndsWithAReplyOfAnotherType) {
    const std::string wrong = reply("8016", tag("Ex_RetCode", "000000"));
    const Milliseconds time = timeOf([&] {
        EXPECT_EQ(sendInto(Fault().rawReply(wrong)), (Transfer{2, "000060", ""}));
    });
    EXPECT_LT(time, kSilentWait);
    const std::vector<std::string> lines = newLines();
    ASSERT_GE(lines.size(), 2U);
    EXPECT_THAT(std::vector<std::string>(lines.end() - 2, lines.end()),
                ElementsAre("1 Xml Type:8016 len:4", "1 Read XML:" + wrong + " ---Wrong Command --Delete"));
    expectGivenUpAtOnce();
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_P(FileSendingInTrouble, EndsWithAWriteThatFails) {
    const Milliseconds time = timeOf([this] {
        EXPECT_EQ(sendInto(Fault().refuseWrite(EIO)), (Transfer{-1, codeOfTheGood(), ""}));
    });
    EXPECT_LT(time, kSilentWait);
    EXPECT_EQ(waitsInVain(), 0);
    expectGivenUpAtOnce();
    EXPECT_EQ(m_PerformTasksYN, 1);
    EXPECT_FALSE(g_hidRun);
}

TEST_P(FileSendingInTrouble, EndsWithHalfAWrite) {
    EXPECT_EQ(sendInto(Fault().shortWrite(50)), (Transfer{-1, codeOfTheGood(), ""}));
    expectGivenUpAtOnce();
    EXPECT_EQ(m_PerformTasksYN, 1);
    EXPECT_TRUE(g_hidRun);
}

INSTANTIATE_TEST_SUITE_P(BehindPackets, FileSendingInTrouble, testing::Values(0, 1, 2));

using FileSendingFailure = FileTest;

TEST_F(FileSendingFailure, BehindARefusalEndsTheSameWay) {
    refuse("000101");
    terminal().addFault("8015", Fault().replyType("8001").setTag("Ex_RetCode", "000000"));
    EXPECT_EQ(send(digits(6010)), (Transfer{2, "000060", ""}));
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 0));
}

TEST_F(FileSendingFailure, IsOvercomeByTheNextFile) {
    agree();
    terminal().addFault("8015", Fault().refuseWrite(EIO));
    EXPECT_EQ(send(digits(6010)), (Transfer{-1, "000000", ""}));
    agree(3);
    EXPECT_EQ(send(digits(6010)), (Transfer{0, "000000", ""})); // opens anew
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 1, 0, 1, 2));
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(FileSendingFailure, ByADeviceThatGoesInTheMiddle) {
    agree();
    terminal().addFault("8015",
                        Fault().rawReply(reply("8015", tag("Ex_RetCode", "000000"))).unplugAfterReply());
    EXPECT_EQ(send(digits(6010)), (Transfer{-1, "000000", ""}));
    EXPECT_EQ(m_PerformTasksYN, 1);
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 1));
}

TEST_F(FileSendingFailure, SkipsANullCode) {
    HostText text("0123456789");
    answerWith("8015", reply("8016", ""));
    EXPECT_EQ(analyser().ReadFileDataToPDA(nullptr, nullptr, nullptr, text, nullptr), 2);
}

TEST_F(FileSendingFailure, OfMemoryIsAnInternalOne) {
    int failures = 0;
    bool happened = true;
    for (int number = 1; happened; ++number) {
        ASSERT_LT(number, 1000);
        terminal().clearFaults();
        agree();
        HostText text("0123456789");
        m_PerformTasksYN = 0;
        int result = -99;
        {
            const FailingAllocation failing(number);
            result = analyser().ReadFileDataToPDA(nullptr, nullptr, nullptr, text, nullptr);
            happened = failing.happened();
        }
        EXPECT_TRUE(result == 0 || result == 1) << result << " with allocation " << number << " failing";
        EXPECT_EQ(m_PerformTasksYN, 0) << "with allocation " << number << " failing";
        failures += result;
    }
    EXPECT_GT(failures, 5);
    terminal().takeViolations(); // messages that were not sent leave gaps in the numbers
}

} // namespace
