#pragma once

#include "DeviceDescription.h"
#include "usb/HostSide.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace pdasim {

/// What a host asks of a device on its endpoint 0.
struct SetupPacket {
    static constexpr std::size_t kSize = 8;

    std::uint8_t requestType = 0;
    std::uint8_t request = 0;
    std::uint16_t value = 0;
    std::uint16_t index = 0;
    std::uint16_t length = 0;

    bool isIn() const { return (requestType & 0x80U) != 0; }
};

/// Reads the eight bytes as they come on the bus.
SetupPacket readSetup(const std::array<std::uint8_t, SetupPacket::kSize>& bytes);

/// Answers the requests to a terminal's device and to its HID interface.
class ControlEndpoint {
public:
    ControlEndpoint(DeviceDescription description, HostSide& host);

    const DeviceDescription& description() const { return m_description; }

    /// What the host gets, empty when that is only the request's success; nothing for a request that stalls.
    std::optional<std::string> answer(const SetupPacket& setup, std::string_view data);
    /// As after every plugging.
    void reset();

private:
    std::optional<std::string> answerStandard(const SetupPacket& setup);
    std::optional<std::string> answerHid(const SetupPacket& setup, std::string_view data);
    std::optional<std::string> descriptor(const SetupPacket& setup) const;

    DeviceDescription m_description;
    HostSide& m_host;
    std::uint8_t m_configuration = 0;
    std::uint8_t m_idle = 0;
    std::uint8_t m_protocol = 1;
};

} // namespace pdasim
