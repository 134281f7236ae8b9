#include "usbip/TcpBus.h"

#include "node/FileDescriptor.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace pdasim::usbip {

namespace {

std::string addressText(std::uint16_t port) {
    return "127.0.0.1:" + std::to_string(port);
}

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

FileDescriptor listenOn(std::uint16_t port) {
    FileDescriptor listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int on = 1;
    const sockaddr_in address = loopback(port);
    if (!listener.isOpen() || ::setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on)) != 0 ||
        ::bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        ::listen(listener.get(), SOMAXCONN) != 0) {
        throw AdvisedError(errno, "cannot listen at " + addressText(port),
                           "Give --listen another port, or 0 for any free one");
    }
    return listener;
}

std::uint16_t portOf(const FileDescriptor& socket) {
    sockaddr_in address{};
    socklen_t size = sizeof(address);
    if (::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        throwSystemError("cannot find the TCP port out");
    }
    return ntohs(address.sin_port);
}

} // namespace

TcpBus::TcpBus(ServingLoop& loop, std::uint16_t port) : m_loop(loop) {
    FileDescriptor socket = listenOn(port);
    m_port = portOf(socket);
    m_listener = std::make_shared<Listener>(loop, std::move(socket),
                                            [this](FileDescriptor client) { serve(std::move(client)); });
    const std::lock_guard lock(m_loop.mutex());
    m_loop.add(m_listener);
}

TcpBus::~TcpBus() {
    const std::lock_guard lock(m_loop.mutex());
    m_loop.remove(m_listener.get());
    // No client is left behind that knows of the offer.
    for (const auto& each : m_connections) {
        if (const auto connection = each.lock(); connection != nullptr) {
            connection->close();
            m_loop.remove(connection.get());
        }
    }
}

void TcpBus::serve(FileDescriptor client) {
    const int on = 1;
    (void)::setsockopt(client.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    const auto connection = std::make_shared<Connection>(m_loop, std::move(client));
    connection->serve(*this);
    m_connections.erase(std::remove_if(m_connections.begin(), m_connections.end(),
                                       [](const auto& each) { return each.expired(); }),
                        m_connections.end());
    m_connections.push_back(connection);
    m_loop.add(connection);
}

void TcpBus::unplug(UsbIpPort& port) {
    m_plugged.erase(std::remove(m_plugged.begin(), m_plugged.end(), &port), m_plugged.end());
}

std::string TcpBus::placeOf(const UsbIpPort& port) const {
    return "busid " + port.device().busId + " of " + addressText(m_port);
}

std::vector<OfferedDevice> TcpBus::devices() const {
    std::vector<OfferedDevice> offered;
    for (const UsbIpPort* port : m_plugged) {
        if (!port->isAttached()) {
            offered.push_back(port->device());
        }
    }
    return offered;
}

UsbIpPort* TcpBus::freePort(const std::string& busId) const {
    const auto found = std::find_if(m_plugged.begin(), m_plugged.end(), [&busId](const UsbIpPort* port) {
        return port->device().busId == busId && !port->isAttached();
    });
    return found == m_plugged.end() ? nullptr : *found;
}

} // namespace pdasim::usbip
