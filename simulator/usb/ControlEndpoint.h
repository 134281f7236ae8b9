#pragma once

#include "DeviceDescription.h"
#include "usb/HostSide.h"

#include <linux/usb/ch9.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace pdasim {

/// Answers the requests to a terminal's device and to its HID interface.
class ControlEndpoint {
public:
    ControlEndpoint(DeviceDescription description, HostSide& host);

    /// What the host gets, empty when that is only the request's success; nothing for a request that stalls.
    std::optional<std::string> answer(const usb_ctrlrequest& setup, std::string_view data);
    /// As after every plugging.
    void reset();

private:
    std::optional<std::string> answerStandard(const usb_ctrlrequest& setup);
    std::optional<std::string> answerHid(const usb_ctrlrequest& setup, std::string_view data);
    std::optional<std::string> descriptor(unsigned type, unsigned number) const;

    DeviceDescription m_description;
    HostSide& m_host;
    std::uint8_t m_configuration = 0;
    std::uint8_t m_idle = 0;
    std::uint8_t m_protocol = 1;
};

} // namespace pdasim
