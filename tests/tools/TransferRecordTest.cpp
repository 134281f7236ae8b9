#include "TransferRecord.h"

#include <gtest/gtest.h>

namespace {

using pdactl::TransferRecord;

const std::string Stamp = "2026-01-02 03:04:05678 ";
const std::string Header = "QEV   00000000000000000000000000000000        05";

std::string reply(const std::string& body, const std::string& type = "8016") {
    return Stamp + "INFO     : HID Read XML: 000000" + type + Header + body + "\n";
}

std::string packet(int number, int total, const std::string& digits) {
    return reply("<Ex_RetCode>000000</Ex_RetCode><Ex_TotalPkt>" + std::to_string(total) +
                 "</Ex_TotalPkt><Ex_CurPkt>" + std::to_string(number) + "</Ex_CurPkt><Ex_HexVal>" + digits +
                 "</Ex_HexVal>");
}

TransferRecord recordOf(const std::string& log, std::size_t pieceSize = 1000) {
    TransferRecord record("8016");
    for (std::size_t begin = 0; begin < log.size(); begin += pieceSize) {
        record.add(std::string_view(log).substr(begin, pieceSize));
    }
    record.finish();
    return record;
}

TEST(TransferRecordTest, CountsVerdicts) {
    const std::string log = packet(0, 2, "1122") + reply("<Ex_RetCode>000042</Ex_RetCode>") +
                            reply("<Ex_RetCode>000043</Ex_RetCode>") + packet(1, 2, "33");
    for (const std::size_t pieceSize : {1U, 7U, 64U, 10000U}) {
        const TransferRecord record = recordOf(log, pieceSize);
        EXPECT_EQ(record.agreed(), 2);
        EXPECT_EQ(record.refused(), 2);
        EXPECT_EQ(record.firstRefusal(), "000042");
        EXPECT_EQ(record.total(), 2);
        EXPECT_TRUE(record.hasWhole(6));
    }
}

TEST(TransferRecordTest, LooksAtNothingElse) {
    const TransferRecord record =
        recordOf(Stamp + "INFO     : Write XML: 0000008016" + Header + "<Ex_RetCode>000042</Ex_RetCode>\n" +
                 Stamp + "MESSAGE  : Read XML:0000008016" + Header + "<Ex_RetCode>000042</Ex_RetCode>\n" +
                 reply("<Ex_RetCode>000042</Ex_RetCode>", "8015") + Stamp + "INFO     : HID Read XML: \n");
    EXPECT_EQ(record.agreed() + record.refused(), 0);
}

TEST(TransferRecordTest, TakesTextWithLineEndsForOneReply) {
    const TransferRecord record =
        recordOf(reply("\n\n<Ex_RetCode>00\n0042</Ex_RetCode>") + Stamp + "INFO     : \n");
    EXPECT_EQ(record.refused(), 1);
    EXPECT_EQ(record.firstRefusal(), "00\n0042");
}

TEST(TransferRecordTest, TakesAReplyThatImitatesALineForARefusal) {
    const TransferRecord record = recordOf(reply("\n" + Stamp + "<Ex_RetCode>000000</Ex_RetCode>"));
    EXPECT_EQ(record.agreed(), 0);
    EXPECT_EQ(record.refused(), 1);
}

TEST(TransferRecordTest, MissesPackets) {
    EXPECT_FALSE(recordOf("").hasWhole(0));
    EXPECT_FALSE(recordOf(packet(0, 3, "11") + packet(2, 3, "33")).hasWhole(4));
    EXPECT_FALSE(recordOf(packet(2, 3, "33")).hasWhole(2));
    EXPECT_FALSE(recordOf(packet(0, 2, "11") + packet(1, 2, "22")).hasWhole(2))
        << "one of them was not taken";
    EXPECT_TRUE(recordOf(packet(0, 2, "44") + packet(0, 2, "11") + packet(1, 2, "22")).hasWhole(4));
}

} // namespace
