#include "usbip/Protocol.h"
#include "UsbIpClient.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <variant>
#include <vector>

namespace {

using pdasim::test::bigEndian;
using namespace pdasim::usbip;

/// The header of a transfer with one field replaced.
std::string submitWith(std::size_t offset, std::uint32_t value) {
    std::string header = bigEndian(1, 4) + bigEndian(7, 4) + bigEndian(0x10002, 4) + bigEndian(0, 4) +
                         bigEndian(1, 4) + bigEndian(0, 4) + bigEndian(100, 4) + bigEndian(0, 4) +
                         bigEndian(0, 4) + bigEndian(1, 4) +
                         std::string("\x81\x06\x00\x22\x00\x00\x1B\x00", 8);
    return header.replace(offset, 4, bigEndian(value, 4));
}

std::string reasonFor(const std::string& header) {
    try {
        (void)readUrbRequest(header);
    } catch (const ProtocolError& mistake) {
        return mistake.what();
    }
    return "accepted";
}

OfferedDevice device() {
    OfferedDevice offered;
    offered.description.vendorId = "12ab";
    offered.description.productId = "cd34";
    offered.busId = "1-3";
    offered.deviceNumber = 4;
    return offered;
}

/// The 312 bytes that describe it.
std::string described() {
    std::string path = "/sys/devices/pdasim/usb1/1-3";
    path.resize(256, '\0');
    std::string busId = "1-3";
    busId.resize(32, '\0');
    return path + busId + bigEndian(1, 4) + bigEndian(4, 4) + bigEndian(2, 4) + bigEndian(0x12AB, 2) +
           bigEndian(0xCD34, 2) + bigEndian(0x0100, 2) + bigEndian(0, 3) + bigEndian(1, 1) + bigEndian(1, 1) +
           bigEndian(1, 1);
}

TEST(Protocol, ListsDevicesWithTheirInterfaces) {
    const std::string head = bigEndian(0x0111, 2) + bigEndian(0x0005, 2) + bigEndian(0, 4);
    EXPECT_EQ(deviceList({}), head + bigEndian(0, 4));
    EXPECT_EQ(deviceList({device()}), head + bigEndian(1, 4) + described() + bigEndian(0x03000000, 4));
}

TEST(Protocol, GivesOrRefusesADevice) {
    EXPECT_EQ(importReply(device()),
              bigEndian(0x0111, 2) + bigEndian(0x0003, 2) + bigEndian(0, 4) + described());
    EXPECT_EQ(importRefusal(), bigEndian(0x0111, 2) + bigEndian(0x0003, 2) + bigEndian(1, 4));
    EXPECT_EQ(device().id(), 0x10004U);
}

TEST(Protocol, ReadsWhatAClientAsksFor) {
    EXPECT_EQ(readOperation(bigEndian(0x0111, 2) + bigEndian(0x8005, 2) + bigEndian(0, 4)),
              Operation::ListDevices);
    EXPECT_EQ(readOperation(bigEndian(0x0111, 2) + bigEndian(0x8003, 2) + bigEndian(0, 4)),
              Operation::Import);
    EXPECT_THROW((void)readOperation(bigEndian(0x0110, 2) + bigEndian(0x8003, 2) + bigEndian(0, 4)),
                 ProtocolError);
    EXPECT_THROW((void)readOperation(bigEndian(0x0111, 2) + bigEndian(0x8004, 2) + bigEndian(0, 4)),
                 ProtocolError);
    EXPECT_EQ(readBusId(std::string("1-1\0\0x", 6)), "1-1");
    EXPECT_EQ(readBusId(std::string(32, 'x')), std::string(32, 'x'));
}

TEST(Protocol, ReadsATransfer) {
    const auto out = std::get<Submit>(readUrbRequest(submitWith(4, 7)));
    EXPECT_EQ(out.sequence, 7U);
    EXPECT_FALSE(out.isIn);
    EXPECT_EQ(out.endpoint, 1U);
    EXPECT_EQ(out.payloadSize(), 100U);
    EXPECT_EQ(out.setup[3], 0x22);
    const auto in = std::get<Submit>(readUrbRequest(submitWith(12, 1)));
    EXPECT_TRUE(in.isIn);
    EXPECT_EQ(in.length, 100U);
    EXPECT_EQ(in.payloadSize(), 0U);
    EXPECT_EQ(std::get<Submit>(readUrbRequest(submitWith(24, 65536))).length, 65536U);
    EXPECT_EQ(std::get<Submit>(readUrbRequest(submitWith(32, 0xFFFFFFFF))).length, 100U);
}

TEST(Protocol, ReadsWhatIsToBeForgotten) {
    const auto unlink = std::get<Unlink>(readUrbRequest(bigEndian(2, 4) + bigEndian(9, 4) + bigEndian(0, 12) +
                                                        bigEndian(7, 4) + bigEndian(0, 24)));
    EXPECT_EQ(unlink.sequence, 9U);
    EXPECT_EQ(unlink.victim, 7U);
}

TEST(Protocol, RefusesWhatItCannotFollow) {
    EXPECT_EQ(reasonFor(submitWith(0, 0)), "command 0");
    EXPECT_EQ(reasonFor(submitWith(0, 3)), "command 3");
    EXPECT_EQ(reasonFor(submitWith(12, 2)), "a transfer in direction 2");
    EXPECT_EQ(reasonFor(submitWith(24, 65537)), "a transfer of 65537 bytes");
    EXPECT_EQ(reasonFor(submitWith(24, 0xFFFFFFFF)), "a transfer of 4294967295 bytes");
    EXPECT_EQ(reasonFor(submitWith(32, 1)), "an isochronous transfer");
}

TEST(Protocol, WritesHowATransferEnded) {
    EXPECT_EQ(submitReply(7, 0, 3, "abc"), bigEndian(3, 4) + bigEndian(7, 4) + bigEndian(0, 12) +
                                               bigEndian(0, 4) + bigEndian(3, 4) + bigEndian(0, 20) + "abc");
    EXPECT_EQ(submitReply(8, -EPIPE, 0), bigEndian(3, 4) + bigEndian(8, 4) + bigEndian(0, 12) +
                                             bigEndian(0xFFFFFFE0, 4) + bigEndian(0, 24));
    EXPECT_EQ(unlinkReply(9, -ECONNRESET), bigEndian(4, 4) + bigEndian(9, 4) + bigEndian(0, 12) +
                                               bigEndian(0xFFFFFF98, 4) + bigEndian(0, 24));
}

} // namespace
