#include "RowFixture.h"

namespace {

using testing::ElementsAreArray;

/// What goes out, and what the log says of it.
class RowRequest : public RowTest {
protected:
    void SetUp() override {
        RowTest::SetUp();
        answerRow(sampleReply(row()));
    }
    static std::string sampleBody() { return bodyOf(row(), Arguments(row()).inputs()) + row().groups; }
};

TEST_P(RowRequest, HasItsHeaderAndTagsInOrder) {
    call();
    EXPECT_EQ(newMaskedMessage(), maskedMessage(row().type, "0001", sampleBody()));
    EXPECT_EQ(m_SeqNo, 1);
    EXPECT_EQ(terminal().received().size(), 1U);
    EXPECT_TRUE(buffer().isEmpty());
}

TEST_P(RowRequest, CarriesTheNextNumber) {
    m_SeqNo = 9998;
    call();
    EXPECT_EQ(newMaskedMessage(), maskedMessage(row().type, "9999", sampleBody()));
    answerRow(sampleReply(row()));
    call();
    EXPECT_EQ(newMaskedMessage(), maskedMessage(row().type, "10000", sampleBody()));
    EXPECT_EQ(m_SeqNo, 10000);
}

TEST_P(RowRequest, IsLoggedWithItsReply) {
    const Outcome outcome = call();
    EXPECT_EQ(outcome, replied(sampleReply(row())));
    std::vector<std::string> expected = linesOfSending(newMessage());
    if (row().waits > 0) {
        expected.push_back("4 HID Read XML: " + reply(row().type, textOf(sampleReply(row()))));
        expected.push_back(std::string("1 Xml Type:") + row().type + " len:4");
    }
    if (*row().resultLine != '\0') {
        expected.push_back(std::string("1 ") + row().resultLine + "000000");
    }
    EXPECT_THAT(newLines(), ElementsAreArray(expected));
}

TEST_P(RowRequest, OpensTheChannelAndWaitsASecondForIt) {
    stopChannel();
    Outcome outcome = notSent();
    const Milliseconds time = timeOf([this, &outcome] { outcome = call(); });
    EXPECT_EQ(outcome, replied(sampleReply(row())));
    EXPECT_GE(time, kOpeningWait);
    EXPECT_TRUE(g_hidRun);
}

INSTANTIATE_TEST_SUITE_P(Of, RowRequest, testing::ValuesIn(allRows()), NameOfMember());

/// The task flag inside the wait for the reply.
using RowTaskFlag = RowTest;

TEST_P(RowTaskFlag, IsUpDuringTheWait) {
    answerRow(sampleReply(row()));
    char flag = 99;
    duringTheNextWait([&flag] { flag = m_PerformTasksYN; });
    call();
    EXPECT_EQ(flag, 1);
    EXPECT_EQ(m_PerformTasksYN, row().family->flagAtEnd);
}

TEST_P(RowTaskFlag, IsUpWhileTheChannelOpens) {
    stopChannel();
    terminal().unplug();
    char flag = 99;
    duringTheNextWait([&flag] { flag = m_PerformTasksYN; });
    EXPECT_EQ(call(), notSent());
    EXPECT_EQ(flag, 1);
}

INSTANTIATE_TEST_SUITE_P(Of, RowTaskFlag, testing::ValuesIn(answeredRows()), NameOfMember());

} // namespace
