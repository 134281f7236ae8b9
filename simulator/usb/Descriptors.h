#pragma once

#include "DeviceDescription.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace pdasim {

/// The numbers of the USB and HID standards that a terminal's device needs.
namespace usb {
constexpr std::uint8_t DeviceDescriptor = 0x01;
constexpr std::uint8_t ConfigurationDescriptor = 0x02;
constexpr std::uint8_t StringDescriptor = 0x03;
constexpr std::uint8_t InterfaceDescriptor = 0x04;
constexpr std::uint8_t EndpointDescriptor = 0x05;
constexpr std::uint8_t HidDescriptor = 0x21;
constexpr std::uint8_t ReportDescriptor = 0x22;

constexpr std::uint8_t HidClass = 0x03;
constexpr std::uint16_t DeviceRelease = 0x0100;
constexpr std::uint8_t Configuration = 1;
constexpr std::uint8_t InterfaceCount = 1;
/// Both directions have the same number.
constexpr std::uint8_t Endpoint = 1;
constexpr std::uint8_t DirectionIn = 0x80;
} // namespace usb

/// The largest packet of the interrupt endpoints; a longer report takes several.
std::size_t packetSize(std::size_t reportSize);

/// "1209" as the number that it stands for.
std::uint16_t idNumber(const std::string& digits);

/// The descriptors of a full-speed device with one HID interface and two interrupt endpoints.
std::string deviceDescriptor(const DeviceDescription& description);
/// With the descriptors of interface, HID and endpoints behind it.
std::string configurationDescriptor(std::size_t reportSize);
std::string hidDescriptor(std::size_t reportSize);
/// The list of languages has number 0; nothing for a text that the device does not have.
std::optional<std::string> stringDescriptor(const DeviceDescription& description, unsigned number);

} // namespace pdasim
