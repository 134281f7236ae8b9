#pragma once

#include "usb/ControlEndpoint.h"
#include "usb/HostSide.h"
#include "usbip/Protocol.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

namespace pdasim::usbip {

/** Carries out the transfers of one host that has attached a terminal: its bytes in, the answers out. */
class UrbServer {
public:
    UrbServer(ControlEndpoint& control, HostSide& host);
    UrbServer(const UrbServer&) = delete;
    UrbServer& operator=(const UrbServer&) = delete;
    /** The host has gone. */
    ~UrbServer();

    /** The next bytes from the host, cut anywhere. Throws ProtocolError. */
    void receive(std::string_view bytes);
    /** Gives waiting reports to the transfers that wait for them. */
    void deliver();
    /** Bytes for the host; whoever sends them takes them away. */
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

} // namespace pdasim::usbip
