#pragma once

#include "usb/ControlEndpoint.h"
#include "usb/HostSide.h"
#include "usbip/Protocol.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace pdasim::usbip {

class Connection;
class UsbIpPort;

/// Where terminals meet hosts that speak USB/IP. Every call needs the loop's lock.
class Bus {
public:
    Bus() = default;
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;
    virtual ~Bus() = default;

    virtual void plug(UsbIpPort& port) = 0;
    virtual void unplug(UsbIpPort& port) = 0;
    /// The host has broken the connection off.
    virtual void hostLeft(UsbIpPort& port) = 0;
    /// Where hosts find a terminal that is plugged in, for people.
    virtual std::string placeOf(const UsbIpPort& port) const = 0;
};

/// A terminal as a USB device that one host at a time can attach.
class UsbIpPort : public UsbPort {
public:
    UsbIpPort(ServingLoop& loop, Bus& bus, OfferedDevice device, std::size_t reportSize);

    void plug() override;
    void unplug() override;
    void send(const std::vector<std::string>& reports) override;
    std::string place() const override { return m_plugged ? m_bus.placeOf(*this) : std::string(); }
    std::size_t openFiles() const override { return host().isListening() ? 1 : 0; }

    const OfferedDevice& device() const { return m_device; }
    ControlEndpoint& control() { return m_control; }

    bool isAttached() const { return m_connection != nullptr; }
    void attach(std::shared_ptr<Connection> connection) { m_connection = std::move(connection); }
    /// The connection has come to its end.
    void detach();
    /// As if somebody had pulled the plug, once there is no connection any more.
    void setUnplugged() { m_plugged = false; }

private:
    Bus& m_bus;
    OfferedDevice m_device;
    ControlEndpoint m_control;
    bool m_plugged = false;
    std::shared_ptr<Connection> m_connection;
};

} // namespace pdasim::usbip
