#include "UsbIpClient.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <stdexcept>
#include <utility>

namespace pdasim::test {

namespace {

unsigned numberIn(std::string_view bytes) {
    unsigned value = 0;
    for (const char byte : bytes) {
        value = value << 8U | static_cast<unsigned char>(byte);
    }
    return value;
}

std::string textIn(std::string_view field) {
    return std::string(field.substr(0, field.find('\0')));
}

std::string setupOf(unsigned type, unsigned request, unsigned value, unsigned index, std::size_t length) {
    std::string setup = {static_cast<char>(type), static_cast<char>(request)};
    for (const std::size_t word : {std::size_t(value), std::size_t(index), length}) {
        setup.push_back(static_cast<char>(word & 0xFFU));
        setup.push_back(static_cast<char>(word >> 8U));
    }
    return setup;
}

} // namespace

std::string bigEndian(std::uint64_t value, std::size_t size) {
    std::string bytes(size, '\0');
    for (auto byte = bytes.rbegin(); byte != bytes.rend(); ++byte) {
        *byte = static_cast<char>(value & 0xFFU);
        value >>= 8U;
    }
    return bytes;
}

UsbIpClient::UsbIpClient(std::uint16_t port) : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(m_socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        throw std::runtime_error("nobody listens at port " + std::to_string(port));
    }
}

UsbIpClient::UsbIpClient(FileDescriptor socket) : m_socket(std::move(socket)) {
}

void UsbIpClient::send(std::string_view bytes) const {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(m_socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0) {
            throw std::runtime_error("the server has gone");
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

std::string UsbIpClient::receive(std::size_t count) const {
    std::string bytes(count, '\0');
    std::size_t got = 0;
    while (got < count) {
        pollfd watched = {m_socket.get(), POLLIN, 0};
        if (::poll(&watched, 1, 10000) <= 0) {
            throw std::runtime_error("the server does not answer");
        }
        const ssize_t more = ::recv(m_socket.get(), bytes.data() + got, count - got, 0);
        if (more <= 0) {
            break;
        }
        got += static_cast<std::size_t>(more);
    }
    bytes.resize(got);
    return bytes;
}

UsbIpClient::Device UsbIpClient::receiveDevice() const {
    const std::string bytes = receive(312);
    const std::string_view all = bytes;
    return {textIn(all.substr(256, 32)), numberIn(all.substr(302, 2))};
}

std::vector<UsbIpClient::Device> UsbIpClient::list() {
    send(bigEndian(0x0111, 2) + bigEndian(0x8005, 2) + bigEndian(0, 4));
    if (receive(8) != bigEndian(0x0111, 2) + bigEndian(0x0005, 2) + bigEndian(0, 4)) {
        throw std::runtime_error("a bad answer");
    }
    std::vector<Device> devices(numberIn(receive(4)));
    for (Device& device : devices) {
        device = receiveDevice();
        (void)receive(4); // its interface
    }
    return devices;
}

std::optional<UsbIpClient::Device> UsbIpClient::import(const std::string& busId) {
    std::string field = busId;
    field.resize(32, '\0');
    send(bigEndian(0x0111, 2) + bigEndian(0x8003, 2) + bigEndian(0, 4) + field);
    const std::string head = receive(8);
    if (head.substr(0, 4) != bigEndian(0x0111, 2) + bigEndian(0x0003, 2)) {
        throw std::runtime_error("a bad answer");
    }
    return head.substr(4) == bigEndian(0, 4) ? std::optional(receiveDevice()) : std::nullopt;
}

unsigned UsbIpClient::submit(bool isIn, unsigned endpoint, std::size_t length, std::string_view data,
                             std::string_view setup) {
    std::string setupField(setup);
    setupField.resize(8, '\0');
    m_isIn.push_back(isIn);
    send(bigEndian(1, 4) + bigEndian(++m_sequence, 4) + bigEndian(0x10002, 4) + bigEndian(isIn ? 1 : 0, 4) +
         bigEndian(endpoint, 4) + bigEndian(0, 4) + bigEndian(length, 4) + bigEndian(0, 4) +
         bigEndian(0xFFFFFFFF, 4) + bigEndian(1, 4) + setupField + std::string(data));
    return m_sequence;
}

unsigned UsbIpClient::submitIn(unsigned endpoint, std::size_t length, std::string_view setup) {
    return submit(true, endpoint, length, {}, setup);
}

unsigned UsbIpClient::submitOut(unsigned endpoint, std::string_view data, std::string_view setup) {
    return submit(false, endpoint, data.size(), data, setup);
}

unsigned UsbIpClient::unlink(unsigned victim) {
    m_isIn.push_back(false);
    send(bigEndian(2, 4) + bigEndian(++m_sequence, 4) + bigEndian(0x10002, 4) + bigEndian(0, 8) +
         bigEndian(victim, 4) + bigEndian(0, 24));
    return m_sequence;
}

std::optional<UsbIpClient::Reply> UsbIpClient::reply() {
    const std::string header = receive(48);
    if (header.size() < 48) {
        return std::nullopt;
    }
    const std::string_view all = header;
    Reply reply;
    reply.command = numberIn(all.substr(0, 4));
    reply.sequence = numberIn(all.substr(4, 4));
    reply.status = static_cast<int>(numberIn(all.substr(20, 4)));
    reply.actualLength = numberIn(all.substr(24, 4));
    if (reply.command == 3 && m_isIn.at(reply.sequence)) {
        reply.data = receive(reply.actualLength);
    }
    return reply;
}

bool UsbIpClient::hasReply(std::chrono::milliseconds time) const {
    pollfd watched = {m_socket.get(), POLLIN, 0};
    return ::poll(&watched, 1, static_cast<int>(time.count())) > 0;
}

UsbIpClient::Reply UsbIpClient::controlIn(unsigned type, unsigned request, unsigned value, unsigned length,
                                          unsigned index) {
    submitIn(0, length, setupOf(type, request, value, index, length));
    return reply().value();
}

UsbIpClient::Reply UsbIpClient::controlOut(unsigned type, unsigned request, unsigned value,
                                           std::string_view data) {
    submitOut(0, data, setupOf(type, request, value, 0, data.size()));
    return reply().value();
}

UsbIpClient::Reply UsbIpClient::write(std::string_view message) {
    submitOut(1, message);
    return reply().value();
}

std::string UsbIpClient::readText(std::string_view end) {
    std::string text;
    while (text.find(end) == std::string::npos) {
        submitIn(1, 64);
        const Reply report = reply().value();
        if (report.status != 0 || report.data.size() != 64) {
            throw std::runtime_error("no whole report");
        }
        text += textIn(report.data);
    }
    return text;
}

} // namespace pdasim::test
