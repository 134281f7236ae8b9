#include "usb/ControlEndpoint.h"

#include "DeviceDescription.h"
#include "usb/Descriptors.h"

#include <utility>

namespace pdasim {

namespace {

/// The kinds of requests, without the direction.
constexpr unsigned kKindMask = 0x60;
constexpr unsigned kStandard = 0x00;
constexpr unsigned kClass = 0x20;

enum StandardRequest : std::uint8_t {
    GetStatus = 0x00,
    ClearFeature = 0x01,
    SetFeature = 0x03,
    GetDescriptor = 0x06,
    GetConfiguration = 0x08,
    SetConfiguration = 0x09,
    GetInterface = 0x0A,
    SetInterface = 0x0B
};

enum HidRequest : std::uint8_t {
    GetReport = 0x01,
    GetIdle = 0x02,
    GetProtocol = 0x03,
    SetReport = 0x09,
    SetIdle = 0x0A,
    SetProtocol = 0x0B
};

constexpr unsigned kInputReport = 1;
constexpr unsigned kOutputReport = 2;

unsigned highByte(std::uint16_t value) {
    return static_cast<unsigned>(value) >> 8U;
}

std::uint8_t lowByte(std::uint16_t value) {
    return static_cast<std::uint8_t>(value & 0xFFU);
}

std::string oneByte(std::uint8_t value) {
    return {static_cast<char>(value)};
}

const std::string kDone;

} // namespace

SetupPacket readSetup(const std::array<std::uint8_t, SetupPacket::kSize>& bytes) {
    const auto word = [&bytes](std::size_t at) {
        return static_cast<std::uint16_t>(bytes.at(at) | (bytes.at(at + 1) << 8U));
    };
    return {bytes[0], bytes[1], word(2), word(4), word(6)};
}

ControlEndpoint::ControlEndpoint(DeviceDescription description, HostSide& host)
    : m_description(std::move(description)), m_host(host) {
}

void ControlEndpoint::reset() {
    m_configuration = 0;
    m_idle = 0;
    m_protocol = 1;
}

std::optional<std::string> ControlEndpoint::answer(const SetupPacket& setup, std::string_view data) {
    std::optional<std::string> result;
    switch (setup.requestType & kKindMask) {
    case kStandard:
        result = answerStandard(setup);
        break;
    case kClass:
        result = answerHid(setup, data);
        break;
    default:
        break;
    }
    if (result && result->size() > setup.length) {
        result->resize(setup.length);
    }
    return result;
}

std::optional<std::string> ControlEndpoint::answerStandard(const SetupPacket& setup) {
    switch (setup.request) {
    case GetStatus:
        return std::string(2, '\0');
    case ClearFeature:
    case SetFeature:
        return kDone;
    case GetDescriptor:
        return descriptor(setup);
    case GetConfiguration:
        return oneByte(m_configuration);
    case SetConfiguration:
        if (setup.value > usb::kConfiguration) {
            return std::nullopt;
        }
        m_configuration = lowByte(setup.value);
        return kDone;
    case GetInterface:
        return oneByte(0);
    case SetInterface:
        return setup.value == 0 && setup.index == 0 ? std::optional(kDone) : std::nullopt;
    default:
        return std::nullopt;
    }
}

std::optional<std::string> ControlEndpoint::descriptor(const SetupPacket& setup) const {
    switch (highByte(setup.value)) {
    case usb::kDeviceDescriptor:
        return deviceDescriptor(m_description);
    case usb::kConfigurationDescriptor:
        return lowByte(setup.value) == 0 ? std::optional(configurationDescriptor(m_host.reportSize()))
                                         : std::nullopt;
    case usb::kStringDescriptor:
        return stringDescriptor(m_description, lowByte(setup.value));
    case usb::kHidDescriptor:
        return hidDescriptor(m_host.reportSize());
    case usb::kReportDescriptor:
        return reportDescriptor(m_host.reportSize());
    default:
        // Above all the qualifier of a device that could do high speed.
        return std::nullopt;
    }
}

std::optional<std::string> ControlEndpoint::answerHid(const SetupPacket& setup, std::string_view data) {
    switch (setup.request) {
    case GetReport:
        if (highByte(setup.value) != kInputReport) {
            return std::nullopt;
        }
        // News come on the interrupt endpoint; whoever asks here gets a report without any.
        return std::string(m_host.reportSize(), '\0');
    case GetIdle:
        return oneByte(m_idle);
    case GetProtocol:
        return oneByte(m_protocol);
    case SetReport:
        if (highByte(setup.value) != kOutputReport || m_host.take(data).error != 0) {
            return std::nullopt;
        }
        return kDone;
    case SetIdle:
        m_idle = static_cast<std::uint8_t>(highByte(setup.value));
        return kDone;
    case SetProtocol:
        m_protocol = lowByte(setup.value);
        return kDone;
    default:
        return std::nullopt;
    }
}

} // namespace pdasim
