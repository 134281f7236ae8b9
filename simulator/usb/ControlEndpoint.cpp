#include "usb/ControlEndpoint.h"

#include "usb/Descriptors.h"

#include <endian.h>
#include <linux/hid.h>

#include <utility>

namespace pdasim {

namespace {

constexpr unsigned kInputReport = 1;
constexpr unsigned kOutputReport = 2;

unsigned valueOf(const usb_ctrlrequest& setup) {
    return le16toh(setup.wValue);
}

std::uint8_t lowByte(unsigned value) {
    return static_cast<std::uint8_t>(value & 0xFFU);
}

std::string oneByte(std::uint8_t value) {
    return {static_cast<char>(value)};
}

const std::string kDone;

} // namespace

ControlEndpoint::ControlEndpoint(DeviceDescription description, HostSide& host)
    : m_description(std::move(description)), m_host(host) {
}

void ControlEndpoint::reset() {
    m_configuration = 0;
    m_idle = 0;
    m_protocol = 1;
}

std::optional<std::string> ControlEndpoint::answer(const usb_ctrlrequest& setup, std::string_view data) {
    std::optional<std::string> result;
    const unsigned kind = setup.bRequestType & unsigned{USB_TYPE_MASK};
    if (kind == USB_TYPE_STANDARD) {
        result = answerStandard(setup);
    } else if (kind == USB_TYPE_CLASS) {
        result = answerHid(setup, data);
    }
    if (result && result->size() > le16toh(setup.wLength)) {
        result->resize(le16toh(setup.wLength));
    }
    return result;
}

std::optional<std::string> ControlEndpoint::answerStandard(const usb_ctrlrequest& setup) {
    const unsigned value = valueOf(setup);
    switch (setup.bRequest) {
    case USB_REQ_GET_STATUS:
        return std::string(2, '\0');
    case USB_REQ_CLEAR_FEATURE:
    case USB_REQ_SET_FEATURE:
        return kDone;
    case USB_REQ_GET_DESCRIPTOR:
        return descriptor(value >> 8U, lowByte(value));
    case USB_REQ_GET_CONFIGURATION:
        return oneByte(m_configuration);
    case USB_REQ_SET_CONFIGURATION:
        if (value > usb::kConfiguration) {
            return std::nullopt;
        }
        m_configuration = lowByte(value);
        return kDone;
    case USB_REQ_GET_INTERFACE:
        return oneByte(0);
    case USB_REQ_SET_INTERFACE:
        return value == 0 && setup.wIndex == 0 ? std::optional(kDone) : std::nullopt;
    default:
        return std::nullopt;
    }
}

std::optional<std::string> ControlEndpoint::descriptor(unsigned type, unsigned number) const {
    switch (type) {
    case USB_DT_DEVICE:
        return deviceDescriptor(m_description);
    case USB_DT_CONFIG:
        return number == 0 ? std::optional(configurationDescriptor(m_host.reportSize())) : std::nullopt;
    case USB_DT_STRING:
        return stringDescriptor(m_description, number);
    case HID_DT_HID:
        return hidDescriptor(m_host.reportSize());
    case HID_DT_REPORT:
        return reportDescriptor(m_host.reportSize());
    default:
        // Above all the qualifier of a device that could do high speed.
        return std::nullopt;
    }
}

std::optional<std::string> ControlEndpoint::answerHid(const usb_ctrlrequest& setup, std::string_view data) {
    const unsigned value = valueOf(setup);
    switch (setup.bRequest) {
    case HID_REQ_GET_REPORT:
        // News come on the interrupt endpoint; whoever asks here gets a report without any.
        return value >> 8U == kInputReport ? std::optional(std::string(m_host.reportSize(), '\0'))
                                           : std::nullopt;
    case HID_REQ_GET_IDLE:
        return oneByte(m_idle);
    case HID_REQ_GET_PROTOCOL:
        return oneByte(m_protocol);
    case HID_REQ_SET_REPORT:
        if (value >> 8U != kOutputReport || m_host.take(data).error != 0) {
            return std::nullopt;
        }
        return kDone;
    case HID_REQ_SET_IDLE:
        m_idle = lowByte(value >> 8U);
        return kDone;
    case HID_REQ_SET_PROTOCOL:
        m_protocol = lowByte(value);
        return kDone;
    default:
        return std::nullopt;
    }
}

} // namespace pdasim
