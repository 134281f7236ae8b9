#include "usbip/Connection.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <iostream>
#include <utility>

namespace pdasim::usbip {

namespace {

/** A client who has stopped reading is given up. */
constexpr std::size_t LongestBacklog = 16U << 20U;

} // namespace

Connection::Connection(ServingLoop& loop, FileDescriptor socket) : m_loop(loop), m_socket(std::move(socket)) {
}

void Connection::serve(UsbIpPort& port) {
    m_port = &port;
    m_urbs.emplace(port.control(), port.host());
    port.attach(shared_from_this());
}

short Connection::events() const {
    return static_cast<short>(m_output.empty() ? POLLIN : POLLIN | POLLOUT);
}

bool Connection::handle(short events) {
    try {
        if ((events & (POLLIN | POLLHUP | POLLERR)) != 0 && !receive()) {
            return end();
        }
    } catch (const ProtocolError& mistake) {
        std::cerr << "pdasim: a USB/IP client asked for " << mistake.what() << ", its connection ends"
                  << std::endl;
        return end();
    }
    return flush() || end();
}

/** False at the end of the stream. */
bool Connection::receive() {
    std::array<char, 16384> bytes{};
    const ssize_t got = ::recv(m_socket.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (got > 0) {
        take({bytes.data(), static_cast<std::size_t>(got)});
        return true;
    }
    return got < 0 && (errno == EAGAIN || errno == EINTR);
}

void Connection::take(std::string_view bytes) {
    if (m_answered) {
        return;
    }
    if (!m_urbs) {
        m_input.append(bytes);
        takeOperation();
    } else {
        m_urbs->receive(bytes);
    }
}

void Connection::takeOperation() {
    if (m_input.size() < OperationSize) {
        return;
    }
    if (readOperation(m_input) == Operation::ListDevices) {
        m_output += deviceList(m_offer->devices());
        m_answered = true;
        return;
    }
    if (m_input.size() < OperationSize + BusIdSize) {
        return;
    }
    UsbIpPort* port =
        m_offer->freePort(readBusId(std::string_view(m_input).substr(OperationSize, BusIdSize)));
    if (port == nullptr) {
        m_output += importRefusal();
        m_answered = true;
        return;
    }
    m_output += importReply(port->device());
    serve(*port);
    m_urbs->receive(std::string_view(m_input).substr(OperationSize + BusIdSize));
    m_input.clear();
}

/** False when the connection has come to its end. */
bool Connection::flush() {
    if (m_urbs) {
        m_output += std::exchange(m_urbs->output(), {});
    }
    while (!m_output.empty()) {
        const ssize_t sent =
            ::send(m_socket.get(), m_output.data(), m_output.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0) {
            return (errno == EAGAIN || errno == EINTR) && m_output.size() <= LongestBacklog;
        }
        m_output.erase(0, static_cast<std::size_t>(sent));
    }
    return !m_answered;
}

void Connection::deliver() {
    m_urbs->deliver();
    // The loop finds out when the client has gone.
    (void)flush();
    m_loop.wake();
}

void Connection::close() {
    m_urbs.reset();
    m_port = nullptr;
    m_answered = true;
    (void)::shutdown(m_socket.get(), SHUT_RDWR);
}

bool Connection::end() {
    UsbIpPort* port = m_port;
    close();
    if (port != nullptr) {
        port->detach();
    }
    return false;
}

} // namespace pdasim::usbip
