#include "FileFixture.h"

namespace {

using testing::SizeIs;

/// Terminals that never come to an end.
class FileFetchingEndlessly : public FileTest {
protected:
    static constexpr std::size_t kMostIdleReplies = 100;

    static Packet wrong(const char* number = "0") { return {"9", number, "3132", "zzzz"}; }
    static Packet right(const char* number = "0") { return {"9", number, "3132", check("3132")}; }

    /// Checks that a fetch is given up after so many requests.
    void expectGivenUpAfter(std::size_t requests) {
        const SwiftReplies swift;
        EXPECT_EQ(fetch(), (Transfer{2, "", ""}));
        EXPECT_THAT(newPacketNumbers(), SizeIs(requests));
        EXPECT_EQ(warnings(), 1U);
        EXPECT_EQ(m_PerformTasksYN, 0);
    }
};

TEST_F(FileFetchingEndlessly, SendingTheSamePacketIsGivenUpAfterAHundred) {
    offerRepeatedly(right(), 1 + kMostIdleReplies); // the first is new
    expectGivenUpAfter(1 + kMostIdleReplies);
}

TEST_F(FileFetchingEndlessly, SendingWrongChecksIsGivenUpAfterAHundred) {
    offerRepeatedly(wrong(), kMostIdleReplies);
    expectGivenUpAfter(kMostIdleReplies);
    EXPECT_EQ(pdalink::test::countLogLines("pda return crc error:zzzz"), 100);
}

TEST_F(FileFetchingEndlessly, SendingTwoPacketsInTurnIsGivenUpAfterAHundred) {
    offer(right("0"));
    offer(right("4"));
    for (std::size_t i = 0; i < kMostIdleReplies / 2; ++i) {
        offer(right("0"));
        offer(right("4"));
    }
    expectGivenUpAfter(2 + kMostIdleReplies);
}

TEST_F(FileFetchingEndlessly, SendingNothingNewInOneOrTheOtherWayIsGivenUpAfterAHundred) {
    offer(right());
    for (std::size_t i = 0; i < kMostIdleReplies / 2; ++i) {
        offer(wrong());
        offer(right());
    }
    expectGivenUpAfter(1 + kMostIdleReplies);
}

TEST_F(FileFetchingEndlessly, SendingTheSamePacketIsGivenUpWhateverElseItSends) {
    offer(right());
    for (std::size_t i = 0; i < kMostIdleReplies / 2; ++i) {
        offer(right());
        answerWith("8016", reply("8015", "")); // no reply to this
        offer(right());
        offer(wrong("200000")); // no packet has that number
    }
    expectGivenUpAfter(2 * kMostIdleReplies);
}

TEST_F(FileFetchingEndlessly, CountsRepliesInARowOnly) {
    const SwiftReplies swift;
    offerRepeatedly(wrong(), kMostIdleReplies - 1);
    offer(2, 0, "3132");
    offerRepeatedly({"2", "1", "3334", "zzzz"}, kMostIdleReplies - 1);
    offer(2, 1, "3334");
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "31323334"}));
    EXPECT_THAT(newPacketNumbers(), SizeIs(2 * kMostIdleReplies));
    EXPECT_EQ(warnings(), 0U);
}

TEST_F(FileFetchingEndlessly, EndsWithTheLastOfAHundredWhenItIsTheEnd) {
    const SwiftReplies swift;
    offerRepeatedly(wrong(), kMostIdleReplies - 1);
    offer(1, 0, "3132");
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "3132"}));
    EXPECT_EQ(warnings(), 0U);
}

TEST_F(FileFetchingEndlessly, IsForgottenByTheNextFetch) {
    const SwiftReplies swift;
    offerRepeatedly(wrong(), kMostIdleReplies);
    EXPECT_EQ(fetch(), (Transfer{2, "", ""}));
    offerRepeatedly(wrong(), kMostIdleReplies - 1);
    offer(1, 0, "3132");
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "3132"}));
}

} // namespace
