#include "usbip/UrbServer.h"

#include "usb/Descriptors.h"

#include <algorithm>
#include <cerrno>

namespace pdasim::usbip {

namespace {

/** A host's driver keeps a handful waiting. */
constexpr std::size_t MostPending = 256;

} // namespace

UrbServer::UrbServer(ControlEndpoint& control, HostSide& host) : m_control(control), m_host(host) {
    m_control.reset();
}

UrbServer::~UrbServer() {
    m_host.reset();
}

void UrbServer::receive(std::string_view bytes) {
    m_input.append(bytes);
    while (m_input.size() >= UrbHeaderSize) {
        const std::string_view header = std::string_view(m_input).substr(0, UrbHeaderSize);
        const UrbRequest request = readUrbRequest(header);
        const auto* submit = std::get_if<Submit>(&request);
        const std::size_t size = UrbHeaderSize + (submit == nullptr ? 0 : submit->payloadSize());
        if (m_input.size() < size) {
            return;
        }
        if (submit != nullptr) {
            handle(*submit, std::string_view(m_input).substr(UrbHeaderSize, submit->payloadSize()));
        } else {
            handle(std::get<Unlink>(request));
        }
        m_input.erase(0, size);
    }
}

void UrbServer::handle(const Submit& submit, std::string_view data) {
    if (submit.endpoint == 0) {
        control(submit, data);
    } else if (submit.endpoint != usb::Endpoint) {
        m_output += submitReply(submit.sequence, -EPIPE, 0);
    } else if (!submit.isIn) {
        take(submit, data);
    } else {
        if (m_pending.size() >= MostPending) {
            throw ProtocolError("too many transfers at once");
        }
        m_pending.push_back({submit.sequence, submit.length});
        m_host.setListening(true);
        deliver();
    }
}

void UrbServer::control(const Submit& submit, std::string_view data) {
    const auto answer = m_control.answer(readSetup(submit.setup), data);
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

} // namespace pdasim::usbip
