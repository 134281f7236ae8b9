#pragma once

#include "ServingLoop.h"
#include "usbip/Connection.h"
#include "usbip/UsbIpPort.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace pdasim::usbip {

/// Offers terminals on a TCP port of the loopback to any client of the protocol.
class TcpBus : public Bus {
public:
    /// The port that clients try without being told.
    static constexpr std::uint16_t kStandardPort = 3240;

    /// Port 0 stands for any free one. Throws std::system_error when the port cannot be had.
    TcpBus(ServingLoop& loop, std::uint16_t port);
    TcpBus(const TcpBus&) = delete;
    TcpBus& operator=(const TcpBus&) = delete;
    ~TcpBus() override;

    std::uint16_t port() const { return m_port; }

    void plug(UsbIpPort& port) override { m_plugged.push_back(&port); }
    void unplug(UsbIpPort& port) override;
    /// The next host can have it.
    void hostLeft(UsbIpPort& /*port*/) override {}
    std::string placeOf(const UsbIpPort& port) const override;

    /// Those that a client can have.
    std::vector<OfferedDevice> devices() const;
    /// Null when there is no such terminal, or another host has it.
    UsbIpPort* freePort(const std::string& busId) const;

private:
    void serve(FileDescriptor client);

    ServingLoop& m_loop;
    std::uint16_t m_port = 0;
    std::shared_ptr<Listener> m_listener;
    std::vector<UsbIpPort*> m_plugged;
    std::vector<std::weak_ptr<Connection>> m_connections;
};

} // namespace pdasim::usbip
