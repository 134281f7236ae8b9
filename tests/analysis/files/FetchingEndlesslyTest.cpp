#include "FileFixture.h"

namespace {

using testing::SizeIs;

/// Terminals that never come to an end.
class FileFetchingEndlessly : public FileTest {
protected:
    static constexpr std::size_t kMaxIdleReplies = 100;

    static Packet wrong(const char* number = "0") { return {"9", number, "3132", "zzzz"}; }
    static Packet right(const char* number = "0") { return {"9", number, "3132", check("3132")}; }

    /// Checks that a fetch is given up after `requests` requests.
    void expectGivenUpAfter(std::size_t requests) {
        const SwiftReplies swift;
        const std::size_t before = warnings();
        EXPECT_EQ(fetch(), (Transfer{2, "", ""}));
        EXPECT_THAT(newPacketNumbers(), SizeIs(requests));
        EXPECT_EQ(warnings(), before + 1);
        EXPECT_EQ(m_PerformTasksYN, 0);
    }
};

TEST_F(FileFetchingEndlessly, IsGivenUpAfterAHundredRepliesWithNothingNew) {
    {
        SCOPED_TRACE("the same packet"); // the first is new
        offerRepeatedly(right(), 1 + kMaxIdleReplies);
        expectGivenUpAfter(1 + kMaxIdleReplies);
    }
    {
        SCOPED_TRACE("wrong checks");
        offerRepeatedly(wrong(), kMaxIdleReplies);
        expectGivenUpAfter(kMaxIdleReplies);
        EXPECT_EQ(pdalink::test::countLogLines("pda return crc error:zzzz"), 100);
    }
    {
        SCOPED_TRACE("two packets in turn");
        for (std::size_t i = 0; i <= kMaxIdleReplies / 2; ++i) {
            offer(right("0"));
            offer(right("4"));
        }
        expectGivenUpAfter(2 + kMaxIdleReplies);
    }
    {
        SCOPED_TRACE("the one and the other");
        offer(right());
        for (std::size_t i = 0; i < kMaxIdleReplies / 2; ++i) {
            offer(wrong());
            offer(right());
        }
        expectGivenUpAfter(1 + kMaxIdleReplies);
    }
    {
        SCOPED_TRACE("the same packet among replies that do not count");
        offer(right());
        for (std::size_t i = 0; i < kMaxIdleReplies / 2; ++i) {
            offer(right());
            answerWith("8016", reply("8015", "")); // no reply to this
            offer(right());
            offer(wrong("200000")); // no packet has that number
        }
        expectGivenUpAfter(2 * kMaxIdleReplies);
    }
}

TEST_F(FileFetchingEndlessly, CountsRepliesInARowOfOneFetchOnly) {
    const SwiftReplies swift;
    offerRepeatedly(wrong(), kMaxIdleReplies);
    EXPECT_EQ(fetch(), (Transfer{2, "", ""}));
    offerRepeatedly(wrong(), kMaxIdleReplies - 1);
    offer(2, 0, "3132");
    offerRepeatedly({"2", "1", "3334", "zzzz"}, kMaxIdleReplies - 1);
    offer(2, 1, "3334");
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "31323334"}));
    EXPECT_THAT(newPacketNumbers(), SizeIs(3 * kMaxIdleReplies));
    EXPECT_EQ(warnings(), 1U);
}

} // namespace
