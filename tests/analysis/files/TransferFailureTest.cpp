#include "FileFixture.h"
#include "tests/interface/FailingAllocation.h"

#include <cerrno>

namespace {

using pdasim::Fault;
using testing::ElementsAre;
using testing::IsEmpty;

/// Files of three packets of which one meets trouble, in both directions.
class FileFailure : public FileTest {
protected:
    /// What trouble in place of the reply makes of a file, after the first packets.
    Transfer sendInto(const Fault& trouble, std::size_t good) {
        newLines();
        if (good > 0) {
            accept(good);
        }
        terminal().addFault("8015", trouble);
        return ended(send(digits(6010)), good);
    }
    Transfer fetchInto(const Fault& trouble, std::size_t good) {
        for (std::size_t i = 0; i < good; ++i) {
            offer(3, static_cast<int>(i), "3132");
        }
        terminal().addFault("8016", trouble);
        return ended(fetch(), good);
    }

private:
    Transfer ended(Transfer transfer, std::size_t good) {
        EXPECT_EQ(newBodies().size(), good + 1) << "it is given up at once";
        return transfer;
    }
};

TEST_F(FileFailure, OfAWriteEndsTheTransferWithoutAWait) {
    for (const std::size_t good : {0U, 1U, 2U}) {
        SCOPED_TRACE(good);
        const std::string codeOfTheGood = good > 0 ? "000000" : "";
        EXPECT_EQ(sendInto(Fault().shortWrite(50), good), (Transfer{-1, codeOfTheGood, ""}));
        EXPECT_EQ(m_PerformTasksYN, 1);
        EXPECT_EQ(fetchInto(Fault().shortWrite(50), good), (Transfer{-1, "", ""}));
        EXPECT_EQ(m_PerformTasksYN, 1);
        EXPECT_TRUE(g_hidRun);
        EXPECT_EQ(sendInto(Fault().refuseWrite(EIO), good), (Transfer{-1, codeOfTheGood, ""}));
        EXPECT_EQ(m_PerformTasksYN, 1);
        EXPECT_FALSE(g_hidRun);
        EXPECT_EQ(fetchInto(Fault().refuseWrite(EIO), good), (Transfer{-1, "", ""})) << "opened anew";
        EXPECT_EQ(m_PerformTasksYN, 1);
        EXPECT_FALSE(g_hidRun);
        EXPECT_EQ(silentWaits(), 0);
    }
    accept(3);
    EXPECT_EQ(send(digits(6010)), (Transfer{0, "000000", ""}));
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 1, 2));
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(FileFailure, OfAReplyEndsTheSending) {
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
        EXPECT_EQ(sendInto(Fault().rawReply(wrong), good), (Transfer{2, "000060", ""}));
        const std::vector<std::string> lines = newLines();
        ASSERT_GE(lines.size(), 2U);
        EXPECT_THAT(
            std::vector<std::string>(lines.end() - 2, lines.end()),
            ElementsAre("1 Xml Type:8016 len:4", "1 Read XML:" + wrong + " ---Wrong Command --Delete"));
        EXPECT_EQ(m_PerformTasksYN, 0);
    }
    refuse("000101");
    answerWith("8015", wrong);
    EXPECT_EQ(send(digits(6010)), (Transfer{2, "000060", ""})) << "after a refusal";
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 0));
    answerWith("8015", wrong);
    EXPECT_EQ(analyser().ReadFileDataToPDA(nullptr, nullptr, nullptr, HostText("0123456789"), nullptr), 2);
}

TEST_F(FileFailure, ByADeviceThatGoes) {
    terminal().addFault("8015",
                        Fault().rawReply(reply("8015", tag("Ex_RetCode", "000000"))).unplugAfterReply());
    EXPECT_EQ(send(digits(6010)), (Transfer{-1, "000000", ""}));
    EXPECT_EQ(m_PerformTasksYN, 1);
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0));
    stopChannel();
    EXPECT_GE(timeOf([this] { EXPECT_EQ(fetch(), (Transfer{-1, "", ""})); }), kOpeningWait);
    EXPECT_EQ(m_PerformTasksYN, 1);
    EXPECT_THAT(newBodies(), IsEmpty());
}

TEST_F(FileFailure, OfMemoryIsAnInternalOne) {
    int failures = 0;
    HostText text("0123456789");
    std::string data;
    const auto prepare = [&] {
        terminal().clearFaults();
        accept();
        offer(1, 0, "3132");
        m_PerformTasksYN = 0;
        data.assign(10, '#');
    };
    const auto check = [&](int result) {
        EXPECT_TRUE(result == 0 || result == 1) << result;
        EXPECT_EQ(m_PerformTasksYN, 0);
        failures += result;
    };
    failEachAllocation(
        prepare, [&] { return analyser().ReadFileDataToPDA(nullptr, nullptr, nullptr, text, nullptr); },
        check);
    EXPECT_GT(failures, 5);
    failEachAllocation(
        prepare,
        [&] { return analyser().ReceiveDataSaveToFile(nullptr, nullptr, nullptr, data.data(), nullptr); },
        [&](int result) {
            check(result);
            EXPECT_EQ(data, result == 0 ? "3132######" : "##########");
        });
    EXPECT_GT(failures, 10);
    terminal().takeViolations(); // messages that were not sent leave gaps in the numbers
}

} // namespace
