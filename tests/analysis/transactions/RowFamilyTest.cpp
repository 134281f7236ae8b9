#include "RowFixture.h"
#include "tests/interface/FailingAllocation.h"

#include <optional>

namespace {

using pdasim::Fault;
using testing::ElementsAreArray;

// What all transactions have in common, tried with one of each family: sent as text and as bytes, waited for
// once, twice and not at all.

std::vector<Row> rowOfEachFamily() {
    return {rowOf("GetInventoryRet"),         rowOf("WriteBagNumber"), rowOf("SyncHandoverDotData"),
            rowOf("PDA_GetRegisterUserData"), rowOf("GetLockList"),    rowOf("ReqOpenLock"),
            rowOf("SyncLoginResult")};
}

std::vector<Row> answeredTransactionOfEachFamily() {
    std::vector<Row> rows = rowOfEachFamily();
    rows.pop_back();
    return rows;
}

class TransactionOfEachFamily : public RowTest {
protected:
    static std::string sampleBody() { return bodyOf(row(), Arguments(row()).inputs()) + row().groups; }
};

TEST_P(TransactionOfEachFamily, CarriesTheNextNumber) {
    m_SeqNo = 9998;
    for (const char* number : {"9999", "10000"}) {
        answerRow(sampleReply(row()));
        call();
        EXPECT_EQ(newMaskedMessage(), maskedMessage(row().type, number, sampleBody()));
    }
    EXPECT_EQ(m_SeqNo, 10000);
}

TEST_P(TransactionOfEachFamily, OpensTheChannelAndWaitsASecondForIt) {
    stopChannel();
    answerRow(sampleReply(row()));
    const Milliseconds time = timeOf([this] { EXPECT_EQ(call(), replied(sampleReply(row()))); });
    EXPECT_GE(time, kOpeningWait);
    EXPECT_TRUE(g_hidRun);
    stopChannel();
    terminal().unplug();
    char flag = 99;
    duringTheNextWait([&flag] { flag = m_PerformTasksYN; });
    EXPECT_EQ(call(), notSent());
    EXPECT_EQ(flag, 1) << "while the channel opens";
}

TEST_P(TransactionOfEachFamily, FailsInternallyWithoutMemory) {
    int failures = 0;
    std::optional<Arguments> arguments;
    failEachAllocation(
        [&] {
            terminal().clearFaults();
            answerRow(sampleReply(row()));
            arguments.emplace(row());
            m_PerformTasksYN = row().family->flagAtEnd;
        },
        [&] { return row().call(analyser(), *arguments); },
        [&](int result) {
            // Some are survived: those of the log and of the receiver.
            if (result != row().family->replied && result != row().family->notReplied) {
                EXPECT_EQ(result, row().family->noMemory);
                EXPECT_TRUE(row().outputs.empty() ||
                            arguments->written().back() == Arguments::untouched(row()).back());
            }
            EXPECT_EQ(m_PerformTasksYN, row().family->flagAtEnd);
            failures += result == row().family->noMemory ? 1 : 0;
        });
    EXPECT_GT(failures, 0);
    terminal().takeViolations(); // a message that was not sent leaves a gap in the numbers
}

INSTANTIATE_TEST_SUITE_P(With, TransactionOfEachFamily, testing::ValuesIn(rowOfEachFamily()), NameOfMember());

using AnsweredTransactionOfEachFamily = RowTest;

TEST_P(AnsweredTransactionOfEachFamily, EndsAfterItsSilentWaitsWithTheTaskFlagUpMeanwhile) {
    keep(true);
    terminal().addFault(row().type, Fault().silence());
    char flag = 99;
    duringTheNextWait([&flag] { flag = m_PerformTasksYN; });
    const Milliseconds time = timeOf([this] { EXPECT_EQ(call(), notReplied()); });
    EXPECT_EQ(flag, 1);
    EXPECT_GE(time, row().waits * kSilentWait);
    EXPECT_LT(time, 2 * row().waits * kSilentWait);
    EXPECT_TRUE(isKept(true));
    const std::vector<std::string> waits(static_cast<std::size_t>(row().waits), "4 HID Read XML: ");
    EXPECT_THAT(newLines(), ElementsAreArray(linesWithoutReply(newMessage(), waits)));
}

INSTANTIATE_TEST_SUITE_P(With, AnsweredTransactionOfEachFamily,
                         testing::ValuesIn(answeredTransactionOfEachFamily()), NameOfMember());

} // namespace
