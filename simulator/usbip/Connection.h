#pragma once

#include "ServingLoop.h"
#include "node/FileDescriptor.h"
#include "usb/ControlEndpoint.h"
#include "usb/HostSide.h"
#include "usbip/Protocol.h"
#include "usbip/UsbIpPort.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pdasim::usbip {

/// Carries out the transfers of one host that has attached a terminal: its bytes in, the answers out.
class UrbServer {
public:
    UrbServer(ControlEndpoint& control, HostSide& host);
    UrbServer(const UrbServer&) = delete;
    UrbServer& operator=(const UrbServer&) = delete;
    /// The host has gone.
    ~UrbServer();

    /// The next bytes from the host, cut anywhere. Throws ProtocolError.
    void receive(std::string_view bytes);
    /// Gives waiting reports to the transfers that wait for them.
    void deliver();
    /// Bytes for the host; whoever sends them takes them away.
    std::string& output() { return m_output; }

private:
    struct PendingIn {
        std::uint32_t sequence;
        std::size_t length;
    };

    void handle(const Submit& submit, std::string_view data);
    void handle(const Unlink& unlink);
    void control(const Submit& submit, std::string_view data);
    void take(const Submit& submit, std::string_view data);

    ControlEndpoint& m_control;
    HostSide& m_host;
    std::string m_input;
    std::string m_output;
    std::deque<PendingIn> m_pending;
};

class TcpBus;

/// A byte stream with a client of the protocol at its other end.
class Connection : public Channel, public std::enable_shared_from_this<Connection> {
public:
    Connection(ServingLoop& loop, FileDescriptor socket);
    ~Connection() override = default;

    /// What the client begins with: it asks for a terminal, or has attached one already.
    void serve(const TcpBus& offer) { m_offer = &offer; }
    void serve(UsbIpPort& port);

    int descriptor() const override { return m_socket.get(); }
    short events() const override;
    bool handle(short events) override;

    /// Passes waiting reports on.
    void deliver();
    /// Breaks off.
    void close();

private:
    bool receive();
    void take(std::string_view bytes);
    void takeOperation();
    bool flush();
    bool end();

    ServingLoop& m_loop;
    FileDescriptor m_socket;
    const TcpBus* m_offer = nullptr;
    UsbIpPort* m_port = nullptr;
    std::optional<UrbServer> m_urbs;
    /// Of a client that has not attached anything yet.
    std::string m_input;
    std::string m_output;
    bool m_answered = false;
};

} // namespace pdasim::usbip
