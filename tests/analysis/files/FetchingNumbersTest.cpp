#include "FileFixture.h"

namespace {

using testing::ElementsAre;

/// Packets in the order that the terminal chooses.
using FileFetchingOrder = FileTest;

TEST_F(FileFetchingOrder, IsTheTerminalsAndDoesNotMatterToTheJoining) {
    offer(3, 1, "1111");
    offer(3, 0, "0000");
    offer(3, 1, "1111");
    offer(3, 2, "2222");
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "000011112222"}));
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 2, 1, 2));
    offer(30, 11, "bb");
    offer(30, 3, "33");
    offer(30, 20, "cccc");
    offer(30, 9, "99");
    offer(30, 29, "dd");
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "3399bbccccdd"}));
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 12, 4, 21, 10));
}

TEST_F(FileFetchingOrder, EndsAfterTheLastPacketWhateverIsMissing) {
    offer(6, 5, "5555");
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "5555"}));
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0));
    offer(200000, 199999, "3132");
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "3132"}));
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0));
}

TEST_F(FileFetchingOrder, KeepsTheLaterOfTwoPacketsOfOneNumber) {
    offer(2, 0, "00000000");
    offer(2, 0, "1111");
    offer(2, 1, "2222");
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "11112222"}));
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 1, 1));
}

TEST_F(FileFetchingOrder, EndsWhenItLeavesTheRange) {
    for (const char* number : {"199998", "199999"}) {
        offer({"200001", number, "3132", check("3132")});
    }
    offerRepeatedly({"200001", "200000", "3132", check("3132")}, 3);
    EXPECT_EQ(fetch(), (Transfer{2, "", ""}));
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 199999, 200000, 200000, 200000));
    EXPECT_EQ(m_PerformTasksYN, 0);
    terminal().takeViolations(); // asking for packet 200000 is one
}

/// Totals other than the number of packets.
using FileFetchingTotal = FileTest;

TEST_F(FileFetchingTotal, IsTheLastRepliesOwn) {
    offer(9, 0, "0000");
    offer(2, 1, "1111");
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "00001111"}));
    offer(3, 0, "0000");
    offer(1, 1, "1111"); // it is passed
    offer(3, 2, "2222");
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "000011112222"}));
}

TEST_F(FileFetchingTotal, ThatIsMissingOrNeverReachedDoesNotEndTheTransfer) {
    for (const char* total : {"", "0", "-1", "many", "2147483648", "4294967297", "99999999999999999999999"}) {
        SCOPED_TRACE(total);
        offer({total, "0", "0000", check("0000")});
        offer(2, 1, "1111");
        EXPECT_EQ(fetch(), (Transfer{0, "000000", "00001111"}));
        EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 1));
    }
    answer("8016", tag("Ex_RetCode", "000000") + tag("Ex_CurPkt", "0") + tag("Ex_HexVal", "0000") +
                       tag("Ex_HexCheck", "0000"));
    offer(2, 1, "1111");
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "00001111"}));
}

/// Packet numbers that no packet has.
using FileFetchingNumber = FileTest;

TEST_F(FileFetchingNumber, IsZeroWithoutDigits) {
    for (const char* number : {"", "first", "-", "x1", "00", "-0"}) {
        SCOPED_TRACE(number);
        offer({"2", "1", "1111", "zzzz"}); // so that the first one is not asked for next
        offer({"3", number, "0000", check("0000")});
        offer(2, 1, "1111");
        EXPECT_EQ(fetch(), (Transfer{0, "000000", "00001111"}));
        EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 1, 1));
    }
    offer({"2", "1", "1111", "zzzz"});
    answer("8016", tag("Ex_RetCode", "000000") + tag("Ex_TotalPkt", "1") + tag("Ex_HexVal", "3132") +
                       tag("Ex_HexCheck", check("3132")));
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "3132"}));
}

TEST_F(FileFetchingNumber, OutOfRangeMakesTheReplyUnusable) {
    for (const char* number : {"-1", "200000", "2147483647", "2147483648", "-2147483648", "-2147483649",
                               "4294967296", "18446744073709551616", "99999999999999999999999"}) {
        SCOPED_TRACE(number);
        const Packet impossible{"1", number, "3132", check("3132")};
        offerRepeatedly(impossible, 3);
        const Milliseconds time = timeOf([this] { EXPECT_EQ(fetch(), (Transfer{2, "", ""})); });
        EXPECT_LT(time, kSilentWait);
        EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 0, 0));
        EXPECT_EQ(m_PerformTasksYN, 0);
        offer(2, 0, "0000");
        offerRepeatedly(impossible, 2);
        offer(2, 1, "1111");
        EXPECT_EQ(fetch(), (Transfer{0, "000000", "00001111"}));
        EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 1, 1, 1));
    }
}

} // namespace
