#pragma once

#include "DeviceDescription.h"

#include <linux/usb/ch9.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

/// The bytes of the USB/IP protocol, version 1.1.1. All numbers are big-endian.
namespace pdasim::usbip {

/// A client sends what the protocol does not know; nothing can follow it.
class ProtocolError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Before a device is attached: what a client asks of the server.

constexpr std::size_t kOperationSize = 8;
constexpr std::size_t kBusIdSize = 32;

enum class Operation : std::uint16_t { ListDevices = 0x8005, Import = 0x8003 };

/// The request that the first eight bytes begin.
Operation readOperation(std::string_view bytes);
/// The bus id in a field of its size.
std::string readBusId(std::string_view bytes);

/// A device as a server offers it.
struct OfferedDevice {
    DeviceDescription description;
    /// "1-1", and so on.
    std::string busId;
    std::uint32_t busNumber = 1;
    std::uint32_t deviceNumber = 0;

    /// What tells devices apart once they are attached.
    std::uint32_t id() const { return busNumber << 16U | deviceNumber; }
};

std::string deviceList(const std::vector<OfferedDevice>& devices);
std::string importReply(const OfferedDevice& device);
std::string importRefusal();

// Then: what the host wants transferred.

constexpr std::size_t kUrbHeaderSize = 48;
/// More than a host's driver transfers at once.
constexpr std::size_t kMaxTransfer = 65536;

struct Submit {
    std::uint32_t sequence = 0;
    bool isIn = false;
    std::uint32_t endpoint = 0;
    std::size_t length = 0;
    usb_ctrlrequest setup{};

    /// The bytes that follow the header.
    std::size_t payloadSize() const { return isIn ? 0 : length; }
};

struct Unlink {
    std::uint32_t sequence = 0;
    /// The transfer that is to be forgotten.
    std::uint32_t victim = 0;
};

using UrbRequest = std::variant<Submit, Unlink>;

UrbRequest readUrbRequest(std::string_view header);

/// How a transfer ended: 0 or a negative errno; followed by the bytes for the host.
std::string submitReply(std::uint32_t sequence, int status, std::size_t actualLength,
                        std::string_view data = {});
std::string unlinkReply(std::uint32_t sequence, int status);

} // namespace pdasim::usbip
