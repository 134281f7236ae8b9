#include "usbip/TcpBus.h"

#include "AdvisedError.h"
#include "ListeningSocket.h"

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

class TcpBus::Listener : public Channel {
public:
    Listener(ServingLoop& loop, const Offer& offer, FileDescriptor socket)
        : m_loop(loop), m_offer(offer), m_socket(std::move(socket)) {}

    int descriptor() const override { return m_socket.descriptor(); }
    short events() const override { return m_socket.events(); }
    bool handle(short /*events*/) override {
        FileDescriptor socket = m_socket.accept(SOCK_NONBLOCK);
        if (!socket.isOpen()) {
            m_loop.schedule(this, m_socket.restsUntil(), [] {});
        } else {
            const int on = 1;
            (void)::setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
            const auto connection = std::make_shared<Connection>(m_loop, std::move(socket));
            connection->serve(m_offer);
            forgetEnded();
            m_connections.push_back(connection);
            m_loop.add(connection);
        }
        return true;
    }

    /** Leaves no client behind that knows of the offer. */
    void closeAll() {
        for (const auto& each : m_connections) {
            if (const auto connection = each.lock(); connection != nullptr) {
                connection->close();
                m_loop.remove(connection.get());
            }
        }
    }

private:
    void forgetEnded() {
        m_connections.erase(std::remove_if(m_connections.begin(), m_connections.end(),
                                           [](const auto& each) { return each.expired(); }),
                            m_connections.end());
    }

    ServingLoop& m_loop;
    const Offer& m_offer;
    ListeningSocket m_socket;
    std::vector<std::weak_ptr<Connection>> m_connections;
};

TcpBus::TcpBus(ServingLoop& loop, std::uint16_t port) : m_loop(loop) {
    FileDescriptor socket = listenOn(port);
    m_port = portOf(socket);
    m_listener = std::make_shared<Listener>(loop, *this, std::move(socket));
    const std::lock_guard lock(m_loop.mutex());
    m_loop.add(m_listener);
}

TcpBus::~TcpBus() {
    const std::lock_guard lock(m_loop.mutex());
    m_listener->closeAll();
    m_loop.remove(m_listener.get());
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
