#include "DeviceDescription.h"
#include "usb/ControlEndpoint.h"
#include "usb/Descriptors.h"

#include <gtest/gtest.h>

#include <endian.h>

#include <optional>
#include <string>
#include <vector>

namespace {

using pdasim::ControlEndpoint;
using pdasim::DeviceDescription;
using pdasim::HostSide;
using pdasim::NodeOwner;
using pdasim::ServingLoop;
using Bytes = std::optional<std::string>;

std::string bytes(const std::vector<unsigned>& values) {
    std::string text;
    for (const unsigned value : values) {
        text.push_back(static_cast<char>(value));
    }
    return text;
}

/// Keeps what the host sends.
class Listener : public NodeOwner {
public:
    WriteResult hostWrote(std::string_view text) override {
        received.emplace_back(text);
        return {error, text.size()};
    }

    std::vector<std::string> received;
    int error = 0;
};

class Control : public testing::Test {
protected:
    Control() { m_host.setOwner(m_listener); }

    Bytes ask(std::uint8_t type, std::uint8_t request, std::uint16_t value, std::uint16_t length,
              const std::string& data = {}, std::uint16_t index = 0) {
        const std::lock_guard lock(m_loop.mutex());
        return m_control.answer({type, request, htole16(value), htole16(index), htole16(length)}, data);
    }

    ServingLoop m_loop;
    Listener m_listener;
    HostSide m_host{m_loop, 64, 64, HostSide::Openings::Seen};
    ControlEndpoint m_control{DeviceDescription(), m_host};
};

TEST(Descriptors, OfTheDevice) {
    DeviceDescription description;
    description.vendorId = "12ab";
    description.productId = "fe01";
    EXPECT_EQ(pdasim::deviceDescriptor(description),
              bytes({18, 1, 0x00, 0x02, 0, 0, 0, 64, 0xAB, 0x12, 0x01, 0xFE, 0x00, 0x01, 1, 2, 3, 1}));
    description.serial.reset();
    description.manufacturer.reset();
    EXPECT_EQ(pdasim::deviceDescriptor(description).substr(14), bytes({0, 2, 0, 1}));
}

TEST(Descriptors, OfTheConfiguration) {
    EXPECT_EQ(pdasim::configurationDescriptor(64), bytes({9, 2,    41,   0, 1,  1, 0,    0x80, 50, //
                                                          9, 4,    0,    0, 2,  3, 0,    0,    0,  //
                                                          9, 0x21, 0x11, 1, 0,  1, 0x22, 27,   0,  //
                                                          7, 5,    0x81, 3, 64, 0, 1,              //
                                                          7, 5,    0x01, 3, 64, 0, 1}));
}

TEST(Descriptors, APacketHoldsAtMost64BytesOfAReport) {
    EXPECT_EQ(pdasim::configurationDescriptor(1024).substr(27 + 4, 2), bytes({64, 0}));
    EXPECT_EQ(pdasim::configurationDescriptor(1024).substr(18 + 7, 2), bytes({29, 0}));
    EXPECT_EQ(pdasim::configurationDescriptor(8).substr(27 + 4, 2), bytes({8, 0}));
}

TEST(Descriptors, OfTheReports) {
    EXPECT_EQ(pdasim::reportDescriptor(64),
              bytes({0x06, 0x00, 0xFF, 0x09, 0x01, 0xA1, 0x01, 0x15, 0x00, 0x26, 0xFF, 0x00, 0x75, 0x08,
                     0x95, 64,   0x09, 0x01, 0x81, 0x02, 0x95, 64,   0x09, 0x01, 0x91, 0x02, 0xC0}));
    EXPECT_EQ(pdasim::reportDescriptor(1024),
              bytes({0x06, 0x00, 0xFF, 0x09, 0x01, 0xA1, 0x01, 0x15, 0x00, 0x26, 0xFF, 0x00, 0x75, 0x08, 0x96,
                     0x00, 0x04, 0x09, 0x01, 0x81, 0x02, 0x96, 0x00, 0x04, 0x09, 0x01, 0x91, 0x02, 0xC0}));
}

TEST(Descriptors, OfTheTexts) {
    DeviceDescription description;
    description.manufacturer = "\xC3\x84!";
    description.product.reset();
    description.serial = "\xF0\x9F\x94\x91";
    EXPECT_EQ(pdasim::stringDescriptor(description, 0), bytes({4, 3, 0x09, 0x04}));
    EXPECT_EQ(pdasim::stringDescriptor(description, 1), bytes({6, 3, 0xC4, 0, '!', 0}));
    EXPECT_EQ(pdasim::stringDescriptor(description, 2), std::nullopt);
    EXPECT_EQ(pdasim::stringDescriptor(description, 3), bytes({6, 3, 0x3D, 0xD8, 0x11, 0xDD}));
    EXPECT_EQ(pdasim::stringDescriptor(description, 4), std::nullopt);
    description.product = std::string(500, 'x');
    EXPECT_EQ(pdasim::stringDescriptor(description, 2)->size(), 254U);
    EXPECT_EQ(pdasim::stringDescriptor(description, 2)->front(), static_cast<char>(254));
}

/// In this order: some change what the next ones get.
struct ControlCase {
    const char* name;
    std::uint8_t type;
    std::uint8_t request;
    std::uint16_t value;
    std::uint16_t length;
    Bytes answer;
    std::uint16_t index = 0;
};
const std::string kZero(1, '\0');
const std::vector<ControlCase> kControlCases = {
    {"device", 0x80, 0x06, 0x0100, 255, pdasim::deviceDescriptor({})},
    {"cut to what the host has room for", 0x80, 0x06, 0x0100, 8, pdasim::deviceDescriptor({}).substr(0, 8)},
    {"configuration", 0x80, 0x06, 0x0200, 511, pdasim::configurationDescriptor(64)},
    {"no other configuration", 0x80, 0x06, 0x0201, 255, std::nullopt},
    {"text", 0x80, 0x06, 0x0302, 255, pdasim::stringDescriptor({}, 2)},
    {"no such text", 0x80, 0x06, 0x0304, 255, std::nullopt},
    {"a full-speed device has no qualifier", 0x80, 0x06, 0x0600, 255, std::nullopt},
    {"reports", 0x81, 0x06, 0x2200, 255, pdasim::reportDescriptor(64)},
    {"HID", 0x81, 0x06, 0x2100, 255, pdasim::hidDescriptor(64)},
    {"status", 0x80, 0x00, 0, 2, std::string(2, '\0')},
    {"status of an endpoint", 0x82, 0x00, 0, 2, std::string(2, '\0'), 0x81},
    {"to end a halt", 0x02, 0x01, 0, 0, "", 0x81},
    {"not configured yet", 0x80, 0x08, 0, 1, kZero},
    {"there is one configuration", 0x00, 0x09, 2, 0, std::nullopt},
    {"to configure", 0x00, 0x09, 1, 0, ""},
    {"configured", 0x80, 0x08, 0, 1, "\x01"},
    {"alternative", 0x81, 0x0A, 0, 1, kZero},
    {"to choose it", 0x01, 0x0B, 0, 0, ""},
    {"no other alternative", 0x01, 0x0B, 1, 0, std::nullopt},
    {"no other interface", 0x01, 0x0B, 0, 0, std::nullopt, 1},
    {"to set idle", 0x21, 0x0A, 0x0700, 0, ""},
    {"idle", 0xA1, 0x02, 0, 1, "\x07"},
    {"protocol", 0xA1, 0x03, 0, 1, "\x01"},
    {"to set the protocol", 0x21, 0x0B, 0, 0, ""},
    {"another protocol", 0xA1, 0x03, 0, 1, kZero},
    {"input report", 0xA1, 0x01, 0x0100, 64, std::string(64, '\0')},
    {"there is no reading of output reports", 0xA1, 0x01, 0x0200, 64, std::nullopt},
    {"unknown to devices", 0x00, 0x77, 0, 0, std::nullopt},
    {"unknown to HID", 0xA1, 0x77, 0, 0, std::nullopt},
    {"vendor request", 0xC0, 0x06, 0x0100, 18, std::nullopt},
};

TEST_F(Control, AnswersRequestsAndStallsWhatTheDeviceDoesNotHave) {
    for (const ControlCase& each : kControlCases) {
        EXPECT_EQ(ask(each.type, each.request, each.value, each.length, {}, each.index), each.answer)
            << each.name;
    }
    m_control.reset();
    EXPECT_EQ(ask(0x80, 0x08, 0, 1), kZero) << "not configured any more";
}

TEST_F(Control, TakesAMessageThatComesAsAReportToo) {
    const std::string message = "0x";
    EXPECT_EQ(ask(0x21, 0x09, 0x0200, 2, message), "");
    EXPECT_EQ(m_listener.received, std::vector<std::string>{message});
    EXPECT_EQ(ask(0x21, 0x09, 0x0300, 2, message), std::nullopt) << "there are no feature reports";
    m_listener.error = EIO;
    EXPECT_EQ(ask(0x21, 0x09, 0x0200, 2, message), std::nullopt);
}

} // namespace
