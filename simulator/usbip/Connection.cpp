#include "usbip/Connection.h"

#include "usb/Descriptors.h"
#include "usbip/TcpBus.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <iostream>
#include <utility>

namespace pdasim::usbip {

namespace {

/// A host's driver keeps a handful waiting.
constexpr std::size_t kMaxPending = 256;

/// A client who has stopped reading is given up.
constexpr std::size_t kMaxBacklog = 16U << 20U;

} // namespace

UrbServer::UrbServer(ControlEndpoint& control, HostSide& host) : m_control(control), m_host(host) {
    m_control.reset();
}

UrbServer::~UrbServer() {
    m_host.reset();
}

void UrbServer::receive(std::string_view bytes) {
    m_input.append(bytes);
    while (m_input.size() >= kUrbHeaderSize) {
        const std::string_view header = std::string_view(m_input).substr(0, kUrbHeaderSize);
        const UrbRequest request = readUrbRequest(header);
        const auto* submit = std::get_if<Submit>(&request);
        const std::size_t size = kUrbHeaderSize + (submit == nullptr ? 0 : submit->payloadSize());
        if (m_input.size() < size) {
            return;
        }
        if (submit != nullptr) {
            handle(*submit, std::string_view(m_input).substr(kUrbHeaderSize, submit->payloadSize()));
        } else {
            handle(std::get<Unlink>(request));
        }
        m_input.erase(0, size);
    }
}

void UrbServer::handle(const Submit& submit, std::string_view data) {
    if (submit.endpoint == 0) {
        control(submit, data);
    } else if (submit.endpoint != usb::kEndpoint) {
        m_output += submitReply(submit.sequence, -EPIPE, 0);
    } else if (!submit.isIn) {
        take(submit, data);
    } else {
        if (m_pending.size() >= kMaxPending) {
            throw ProtocolError("too many transfers at once");
        }
        m_pending.push_back({submit.sequence, submit.length});
        m_host.setListening(true);
        deliver();
    }
}

void UrbServer::control(const Submit& submit, std::string_view data) {
    const auto answer = m_control.answer(submit.setup, data);
    if (!answer) {
        m_output += submitReply(submit.sequence, -EPIPE, 0);
    } else if (submit.isIn) {
        const std::string_view room = std::string_view(*answer).substr(0, submit.length);
        m_output += submitReply(submit.sequence, 0, room.size(), room);
    } else {
        m_output += submitReply(submit.sequence, 0, data.size());
    }
}

void UrbServer::take(const Submit& submit, std::string_view data) {
    const NodeOwner::WriteResult result = m_host.take(data);
    m_output += submitReply(submit.sequence, -result.error, result.error == 0 ? result.accepted : 0);
}

void UrbServer::deliver() {
    while (!m_pending.empty() && m_host.front() != nullptr) {
        const PendingIn transfer = m_pending.front();
        m_pending.pop_front();
        const std::string& report = *m_host.front();
        const std::string_view room = std::string_view(report).substr(0, transfer.length);
        const int status = room.size() < report.size() ? -EOVERFLOW : 0;
        m_output += submitReply(transfer.sequence, status, room.size(), room);
        m_host.pop();
    }
}

void UrbServer::handle(const Unlink& unlink) {
    const auto victim = std::find_if(m_pending.begin(), m_pending.end(), [&unlink](const PendingIn& each) {
        return each.sequence == unlink.victim;
    });
    if (victim == m_pending.end()) {
        // Its end is on its way to the host already.
        m_output += unlinkReply(unlink.sequence, 0);
    } else {
        m_pending.erase(victim);
        m_output += unlinkReply(unlink.sequence, -ECONNRESET);
    }
    if (m_pending.empty()) {
        // A host's driver takes its transfers back when the last program has closed the device.
        m_host.setListening(false);
    }
}

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

/// False at the end of the stream.
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
    if (m_input.size() < kOperationSize) {
        return;
    }
    if (readOperation(m_input) == Operation::ListDevices) {
        m_output += deviceList(m_offer->devices());
        m_answered = true;
        return;
    }
    if (m_input.size() < kOperationSize + kBusIdSize) {
        return;
    }
    UsbIpPort* port =
        m_offer->freePort(readBusId(std::string_view(m_input).substr(kOperationSize, kBusIdSize)));
    if (port == nullptr) {
        m_output += importRefusal();
        m_answered = true;
        return;
    }
    m_output += importReply(port->device());
    serve(*port);
    m_urbs->receive(std::string_view(m_input).substr(kOperationSize + kBusIdSize));
    m_input.clear();
}

/// False when the connection has come to its end.
bool Connection::flush() {
    if (m_urbs) {
        m_output += std::exchange(m_urbs->output(), {});
    }
    while (!m_output.empty()) {
        const ssize_t sent =
            ::send(m_socket.get(), m_output.data(), m_output.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0) {
            return (errno == EAGAIN || errno == EINTR) && m_output.size() <= kMaxBacklog;
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
