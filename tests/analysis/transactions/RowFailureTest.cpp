#include "RowFixture.h"
#include "tests/interface/FailingAllocation.h"

#include <cerrno>

namespace {

using pdalink::test::countLogLines;
using pdasim::Fault;
using testing::ElementsAreArray;

/// What the library keeps of replies; a call without one must leave it alone.
class RowFailure : public RowTest {
protected:
    static void keep(bool state) {
        pda_ScanState = state;
        pda_HandoverDotState = state;
        pda_HandoverPowerState = state;
        pda_ScanLabel[0] = "kept";
        pda_ScanLabel[1999] = "kept too";
    }
    static bool isKept(bool state) {
        return pda_ScanState == state && pda_HandoverDotState == state && pda_HandoverPowerState == state &&
               pda_ScanLabel[0] == "kept" && pda_ScanLabel[1999] == "kept too";
    }
    static void addTimeOutLine(std::vector<std::string>& lines) {
        if (*row().timeOutLine != '\0') {
            lines.push_back(std::string("1 ") + row().timeOutLine);
        }
    }
};

TEST_P(RowFailure, OfTheWriteLeavesOutputsAndTaskFlagAsTheyAre) {
    keep(true);
    terminal().addFault(row().type, Fault().refuseWrite(EIO));
    const Milliseconds time = timeOf([this] { EXPECT_EQ(call(), notSent()); });
    EXPECT_LT(time, kSilentWait);
    EXPECT_TRUE(isKept(true));
    EXPECT_FALSE(g_hidRun);
    EXPECT_EQ(countLogLines("HID Read XML: "), 0);
}

TEST_P(RowFailure, OfHalfAWriteIsOneToo) {
    keep(false);
    terminal().addFault(row().type, Fault().shortWrite(50));
    EXPECT_EQ(call(), notSent());
    EXPECT_TRUE(isKept(false));
    EXPECT_TRUE(g_hidRun);
}

TEST_P(RowFailure, OfMemoryIsAnInternalOne) {
    const int result = row().family == &kTellerFamily ? -1 : 1; // a teller's success is 1
    int failures = 0;
    for (int number = 1; number < 1000; ++number) {
        terminal().clearFaults();
        answerRow(sampleReply(row()));
        Arguments arguments(row());
        bool happened = false;
        Outcome outcome = notSent();
        m_PerformTasksYN = row().family->flagAtEnd;
        {
            const FailingAllocation failing(number);
            outcome.result = row().call(analyser(), arguments);
            happened = failing.happened();
        }
        if (!happened) {
            break;
        }
        // Some are survived: those of the log and of the receiver.
        if (outcome.result != row().family->replied && outcome.result != row().family->notReplied) {
            EXPECT_EQ(outcome.result, result) << "with allocation " << number << " failing";
        }
        EXPECT_EQ(m_PerformTasksYN, row().family->flagAtEnd) << "with allocation " << number << " failing";
        failures += outcome.result == result ? 1 : 0;
    }
    EXPECT_GT(failures, 0);
    terminal().takeViolations(); // a message that was not sent leaves a gap in the numbers
}

INSTANTIATE_TEST_SUITE_P(Of, RowFailure, testing::ValuesIn(allRows()), NameOfMember());

using RowWithoutReply = RowFailure;

TEST_P(RowWithoutReply, EndsAfterItsWaits) {
    keep(true);
    terminal().addFault(row().type, Fault().silence());
    const Milliseconds time = timeOf([this] { EXPECT_EQ(call(), notReplied()); });
    EXPECT_GE(time, row().waits * kSilentWait);
    EXPECT_LT(time, 2 * row().waits * kSilentWait);
    EXPECT_TRUE(isKept(true));
    std::vector<std::string> expected = linesOfSending(newMessage());
    expected.insert(expected.end(), static_cast<std::size_t>(row().waits), "4 HID Read XML: ");
    addTimeOutLine(expected);
    EXPECT_THAT(newLines(), ElementsAreArray(expected));
}

TEST_P(RowWithoutReply, SkipsNullOutputs) {
    Arguments arguments(row());
    arguments.withoutOutputs();
    answerWrongly();
    EXPECT_EQ(call(arguments),
              (Outcome{row().family->notReplied, Arguments::untouched(row()), row().family->flagAtEnd}));
}

TEST_P(RowWithoutReply, IsACallWhoseReplyHasAnotherType) {
    keep(true);
    const std::string wrong = answerWrongly();
    const Milliseconds time = timeOf([this] { EXPECT_EQ(call(), notReplied()); });
    EXPECT_LT(time, kSilentWait) << "it is waited for nothing else";
    EXPECT_TRUE(isKept(true));
    std::vector<std::string> expected = linesOfSending(newMessage());
    expected.push_back("4 HID Read XML: " + wrong);
    expected.emplace_back("1 Xml Type:8001 len:4");
    expected.push_back("1 Read XML:" + wrong + " ---Wrong Command --Delete");
    addTimeOutLine(expected);
    EXPECT_THAT(newLines(), ElementsAreArray(expected));
}

INSTANTIATE_TEST_SUITE_P(Of, RowWithoutReply, testing::ValuesIn(answeredRows()), NameOfMember());

} // namespace
