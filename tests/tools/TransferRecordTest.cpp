#include "file/TransferRecord.h"

#include "log/LogLines.h"

#include <gtest/gtest.h>

namespace {

using pdactl::TransferRecord;
using pdactl::log::test::LogText;
using pdactl::log::test::message;
using pdactl::log::test::stamp;
using pdactl::log::test::tag;

const std::string kRefusal = tag("Ex_RetCode", "000042");

std::string packet(int number, int total, const std::string& digits) {
    return message("8016", tag("Ex_RetCode", "000000") + tag("Ex_TotalPkt", std::to_string(total)) +
                               tag("Ex_CurPkt", std::to_string(number)) + tag("Ex_HexVal", digits));
}

TransferRecord recordOf(const LogText& log, std::size_t pieceSize = 1000) {
    TransferRecord record("8016");
    for (std::size_t begin = 0; begin < log.text().size(); begin += pieceSize) {
        record.add(std::string_view(log.text()).substr(begin, pieceSize));
    }
    record.finish();
    return record;
}

/// Whether these packets are a whole file of this many digits.
bool areWhole(const std::vector<std::string>& packets, std::size_t digits) {
    LogText log;
    for (const std::string& each : packets) {
        log.read(each);
    }
    return recordOf(log).hasWhole(digits);
}

TEST(TransferRecordTest, CountsResultCodes) {
    LogText log;
    log.read(packet(0, 2, "1122")).read(message("8016", kRefusal));
    log.read(message("8016", tag("Ex_RetCode", "000043"))).read(packet(1, 2, "33"));
    for (const std::size_t pieceSize : {1U, 7U, 64U, 10000U}) {
        const TransferRecord record = recordOf(log, pieceSize);
        EXPECT_EQ(record.accepted, 2);
        EXPECT_EQ(record.refused, 2);
        EXPECT_EQ(record.firstRefusal, "000042");
        EXPECT_EQ(record.total, 2);
        EXPECT_TRUE(record.hasWhole(6));
    }
}

TEST(TransferRecordTest, LooksAtRepliesOfItsTypeOnly) {
    const std::string other = message("8016", kRefusal);
    LogText log;
    log.written(other).step("Read XML:" + other + " ---Wrong Command --Delete");
    log.read(message("8015", kRefusal)).read("");
    EXPECT_EQ(recordOf(log).accepted + recordOf(log).refused, 0);
}

TEST(TransferRecordTest, TakesLinesInsideAReplyForItsText) {
    LogText log;
    log.read(message("8016", "\n\n" + tag("Ex_RetCode", "00\n0042"))).info("");
    EXPECT_EQ(recordOf(log).refused, 1);
    EXPECT_EQ(recordOf(log).firstRefusal, "00\n0042");
    LogText imitation;
    imitation.read(
        message("8016", kRefusal + "\n" + stamp(0) + "INFO     : HID Read XML: " + packet(0, 1, "11")));
    EXPECT_EQ(recordOf(imitation).accepted, 0);
    EXPECT_EQ(recordOf(imitation).refused, 1);
}

TEST(TransferRecordTest, IsWholeWithEveryPacketOnce) {
    EXPECT_TRUE(areWhole({packet(0, 2, "11"), packet(1, 2, "22")}, 4));
    EXPECT_TRUE(areWhole({packet(0, 2, "44"), packet(0, 2, "11"), packet(1, 2, "22")}, 4));
}

TEST(TransferRecordTest, IsNotWholeWhenPacketsAreMissing) {
    EXPECT_FALSE(areWhole({}, 0));
    EXPECT_FALSE(areWhole({packet(0, 3, "11"), packet(2, 3, "33")}, 4));
    EXPECT_FALSE(areWhole({packet(2, 3, "33")}, 2));
    EXPECT_FALSE(areWhole({packet(0, 2, "11"), packet(1, 2, "22")}, 2)) << "one of them was not taken";
}

TEST(TransferRecordTest, IsNotWholeWithPacketsOfOtherNumbers) {
    EXPECT_FALSE(areWhole({packet(1, 2, "11"), packet(2, 2, "22")}, 4));
    EXPECT_FALSE(areWhole({packet(0, 2, "11"), packet(2, 2, "22")}, 4));
    EXPECT_FALSE(areWhole({packet(-1, 2, "11"), packet(1, 2, "22")}, 4));
}

} // namespace
