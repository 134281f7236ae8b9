#include "usb/Descriptors.h"

#include "DeviceDescription.h"
#include "core/Message.h"

#include <linux/hid.h>
#include <linux/usb/ch9.h>

#include <algorithm>
#include <array>
#include <initializer_list>

namespace pdasim {

namespace {

constexpr std::size_t kMaxPacket = 64;
/// As many as a descriptor of 255 bytes holds.
constexpr std::size_t kMaxText = 126;

/// A descriptor: its length, its type, and the rest of it byte by byte.
std::string descriptor(std::uint8_t type, std::initializer_list<unsigned> rest) {
    std::string bytes = {static_cast<char>(rest.size() + 2), static_cast<char>(type)};
    for (const unsigned byte : rest) {
        bytes.push_back(static_cast<char>(byte));
    }
    return bytes;
}

unsigned low(std::size_t value) {
    return static_cast<unsigned>(value & 0xFFU);
}

unsigned high(std::size_t value) {
    return static_cast<unsigned>(value >> 8U) & 0xFFU;
}

/// By the number of their string descriptors, less one.
std::array<const std::optional<std::string>*, 3> textsOf(const DeviceDescription& description) {
    return {&description.manufacturer, &description.product, &description.serial};
}

/// Hosts do not ask for a text with number 0.
unsigned numberOf(const DeviceDescription& description, unsigned text) {
    return textsOf(description).at(text - 1)->has_value() ? text : 0;
}

std::string endpointDescriptor(unsigned address, std::size_t reportSize) {
    const std::size_t size = packetSize(reportSize);
    return descriptor(USB_DT_ENDPOINT, {address, USB_ENDPOINT_XFER_INT, low(size), high(size), 1});
}

} // namespace

std::size_t packetSize(std::size_t reportSize) {
    return std::min(reportSize, kMaxPacket);
}

std::uint16_t idNumber(const std::string& digits) {
    return static_cast<std::uint16_t>(std::stoul(digits, nullptr, 16));
}

std::string deviceDescriptor(const DeviceDescription& description) {
    const std::uint16_t vendor = idNumber(description.vendorId);
    const std::uint16_t product = idNumber(description.productId);
    return descriptor(USB_DT_DEVICE,
                      {0x00, 0x02, // USB 2.0
                       0, 0, 0,    // the interface tells the class
                       kMaxPacket, low(vendor), high(vendor), low(product), high(product),
                       low(usb::kDeviceRelease), high(usb::kDeviceRelease), numberOf(description, 1),
                       numberOf(description, 2), numberOf(description, 3), 1});
}

std::string configurationDescriptor(std::size_t reportSize) {
    constexpr unsigned kNoText = 0;
    constexpr unsigned kHundredMilliamperes = 50;
    const std::string interface = descriptor(USB_DT_INTERFACE, {0, 0, 2, USB_CLASS_HID, 0, 0, kNoText}) +
                                  hidDescriptor(reportSize) +
                                  endpointDescriptor(usb::kEndpoint | USB_DIR_IN, reportSize) +
                                  endpointDescriptor(usb::kEndpoint, reportSize);
    const std::size_t total = 9 + interface.size();
    return descriptor(USB_DT_CONFIG, {low(total), high(total), usb::kInterfaceCount, usb::kConfiguration,
                                      kNoText, USB_CONFIG_ATT_ONE, kHundredMilliamperes}) +
           interface;
}

std::string hidDescriptor(std::size_t reportSize) {
    const std::size_t size = reportDescriptor(reportSize).size();
    return descriptor(HID_DT_HID, {0x11, 0x01, // HID 1.11
                                   0,          // no country
                                   1, HID_DT_REPORT, low(size), high(size)});
}

std::optional<std::string> stringDescriptor(const DeviceDescription& description, unsigned number) {
    if (number == 0) {
        return descriptor(USB_DT_STRING, {0x09, 0x04}); // English (United States)
    }
    const auto texts = textsOf(description);
    if (number > texts.size() || !texts.at(number - 1)->has_value()) {
        return std::nullopt;
    }
    const std::u16string units = utf16Of(**texts.at(number - 1)).substr(0, kMaxText);
    std::string bytes = descriptor(USB_DT_STRING, {});
    for (const char16_t unit : units) {
        bytes.push_back(static_cast<char>(low(unit)));
        bytes.push_back(static_cast<char>(high(unit)));
    }
    bytes.front() = static_cast<char>(bytes.size());
    return bytes;
}

} // namespace pdasim
