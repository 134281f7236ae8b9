#include "FileFixture.h"
#include "tests/interface/FailingAllocation.h"

#include <cerrno>

namespace {

using pdasim::Fault;
using testing::ElementsAre;
using testing::IsEmpty;

class FileFetchingFailure : public FileTest {
protected:
    /// What trouble in place of the reply makes of a fetch of three packets, after the first ones.
    Transfer fetchInto(const Fault& trouble, int good) {
        for (int i = 0; i < good; ++i) {
            offer(3, i, "3132");
        }
        terminal().addFault("8016", trouble);
        return fetch();
    }
};

TEST_F(FileFetchingFailure, OfAnyWriteEndsTheFetch) {
    for (const int good : {0, 1, 2}) {
        SCOPED_TRACE(good);
        const std::size_t requests = static_cast<std::size_t>(good) + 1;
        EXPECT_EQ(fetchInto(Fault().shortWrite(50), good), (Transfer{-1, "", ""}));
        EXPECT_EQ(newBodies().size(), requests);
        EXPECT_EQ(m_PerformTasksYN, 1);
        EXPECT_TRUE(g_hidRun);
        const Milliseconds time = timeOf([&] {
            EXPECT_EQ(fetchInto(Fault().refuseWrite(EIO), good), (Transfer{-1, "", ""}));
        });
        EXPECT_LT(time, kSilentWait);
        EXPECT_EQ(silentWaits(), 0);
        EXPECT_EQ(newBodies().size(), requests);
        EXPECT_EQ(m_PerformTasksYN, 1);
        EXPECT_FALSE(g_hidRun);
    }
    offer({"1", "0", "3132", "zzzz"});
    EXPECT_EQ(fetchInto(Fault().refuseWrite(EIO), 0), (Transfer{-1, "", ""})) << "a repeated request";
    EXPECT_EQ(m_PerformTasksYN, 1);
    newBodies();
    offer(2, 0, "3334");
    offer(2, 1, "3536");
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "33343536"})) << "the channel is opened anew";
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 1));
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(FileFetchingFailure, WithoutATerminalComesAfterTheSecondOfOpening) {
    stopChannel();
    terminal().unplug();
    const Milliseconds time = timeOf([this] { EXPECT_EQ(fetch(), (Transfer{-1, "", ""})); });
    EXPECT_GE(time, kOpeningWait);
    EXPECT_LT(time, kOpeningWait + kSilentWait);
    EXPECT_EQ(m_PerformTasksYN, 1);
    EXPECT_THAT(newBodies(), IsEmpty());
}

TEST_F(FileFetchingFailure, OfMemoryIsAnInternalOne) {
    int failures = 0;
    bool happened = true;
    for (int number = 1; happened; ++number) {
        ASSERT_LT(number, 1000);
        terminal().clearFaults();
        offer(1, 0, "3132");
        m_PerformTasksYN = 0;
        OutputBuffer data;
        int result = -99;
        {
            const FailingAllocation failing(number);
            result = analyser().ReceiveDataSaveToFile(nullptr, nullptr, nullptr, data.data(), nullptr);
            happened = failing.happened();
        }
        EXPECT_TRUE(result == 0 || result == 1) << result << " with allocation " << number << " failing";
        EXPECT_EQ(data.written(), result == 0 ? "3132" : "");
        EXPECT_EQ(m_PerformTasksYN, 0) << "with allocation " << number << " failing";
        failures += result;
    }
    EXPECT_GT(failures, 5);
    terminal().takeViolations(); // messages that were not sent leave gaps in the numbers
}

} // namespace
