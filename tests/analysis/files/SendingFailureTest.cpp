#include "FileFixture.h"
#include "tests/interface/FailingAllocation.h"

#include <cerrno>

namespace {

using pdasim::Fault;
using testing::ElementsAre;

/// Files of three packets of which one meets trouble.
class FileSendingFailure : public FileTest {
protected:
    /// What trouble in place of the reply makes of a file, after the first packets.
    Transfer sendInto(const Fault& trouble, std::size_t good) {
        newBodies();
        newLines();
        if (good > 0) {
            accept(good);
        }
        terminal().addFault("8015", trouble);
        const int before = m_SeqNo;
        Transfer transfer = send(digits(6010));
        EXPECT_EQ(newBodies().size(), good + 1) << "it is given up at once";
        EXPECT_EQ(m_SeqNo, before + static_cast<int>(good) + 1);
        return transfer;
    }
};

TEST_F(FileSendingFailure, OfAReplyEndsTheTransfer) {
    const std::string wrong = reply("8016", tag("Ex_RetCode", "000000"));
    for (const std::size_t good : {0U, 1U, 2U}) {
        SCOPED_TRACE(good);
        {
            const ShortSilence silence(terminal(), good);
            const int before = silentWaits();
            EXPECT_EQ(sendInto(Fault().silence(), good), (Transfer{2, "000060", ""}));
            EXPECT_EQ(silentWaits(), before + 1);
            EXPECT_EQ(m_PerformTasksYN, 0);
        }
        const Milliseconds time = timeOf([&] {
            EXPECT_EQ(sendInto(Fault().rawReply(wrong), good), (Transfer{2, "000060", ""}));
        });
        EXPECT_LT(time, kSilentWait);
        const std::vector<std::string> lines = newLines();
        ASSERT_GE(lines.size(), 2U);
        EXPECT_THAT(
            std::vector<std::string>(lines.end() - 2, lines.end()),
            ElementsAre("1 Xml Type:8016 len:4", "1 Read XML:" + wrong + " ---Wrong Command --Delete"));
        EXPECT_EQ(m_PerformTasksYN, 0);
    }
    const Milliseconds time = timeOf([this] {
        EXPECT_EQ(sendInto(Fault().silence(), 1), (Transfer{2, "000060", ""}));
    });
    EXPECT_GE(time, kSilentWait);
    EXPECT_LT(time, 2 * kSilentWait);
    refuse("000101");
    terminal().addFault("8015", Fault().replyType("8001").setTag("Ex_RetCode", "000000"));
    EXPECT_EQ(send(digits(6010)), (Transfer{2, "000060", ""})) << "after a refusal";
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 0));
}

TEST_F(FileSendingFailure, OfAWriteEndsTheTransferWithTheCodeOfThePacketBefore) {
    for (const std::size_t good : {0U, 1U, 2U}) {
        SCOPED_TRACE(good);
        const std::string codeOfTheGood = good > 0 ? "000000" : "";
        EXPECT_EQ(sendInto(Fault().shortWrite(50), good), (Transfer{-1, codeOfTheGood, ""}));
        EXPECT_EQ(m_PerformTasksYN, 1);
        EXPECT_TRUE(g_hidRun);
        const Milliseconds time = timeOf([&] {
            EXPECT_EQ(sendInto(Fault().refuseWrite(EIO), good), (Transfer{-1, codeOfTheGood, ""}));
        });
        EXPECT_LT(time, kSilentWait);
        EXPECT_EQ(silentWaits(), 0);
        EXPECT_EQ(m_PerformTasksYN, 1);
        EXPECT_FALSE(g_hidRun);
    }
    accept(3);
    EXPECT_EQ(send(digits(6010)), (Transfer{0, "000000", ""})) << "the channel is opened anew";
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 1, 2));
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(FileSendingFailure, ByADeviceThatGoesInTheMiddle) {
    accept();
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
        accept();
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
