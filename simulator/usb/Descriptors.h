#pragma once

#include "DeviceDescription.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace pdasim {

namespace usb {
constexpr std::uint16_t kDeviceRelease = 0x0100;
constexpr std::uint8_t kConfiguration = 1;
constexpr std::uint8_t kInterfaceCount = 1;
/// Both directions have the same number.
constexpr std::uint8_t kEndpoint = 1;
} // namespace usb

/// The largest packet of the interrupt endpoints; a longer report takes several.
std::size_t packetSize(std::size_t reportSize);

/// The number that four digits like "1209" write.
std::uint16_t idNumber(const std::string& digits);

/// The descriptors of a full-speed device with one HID interface and two interrupt endpoints.
std::string deviceDescriptor(const DeviceDescription& description);
/// Followed by the descriptors of interface, HID and endpoints.
std::string configurationDescriptor(std::size_t reportSize);
std::string hidDescriptor(std::size_t reportSize);
/// The list of languages has number 0; nothing for a text that the device does not have.
std::optional<std::string> stringDescriptor(const DeviceDescription& description, unsigned number);

} // namespace pdasim
