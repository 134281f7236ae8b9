#include "SocketClient.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace pdasim::test {

SocketClient::SocketClient(const std::string& path)
    : m_socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    // What the kernel holds for it is not the other side's.
    const int size = 4096;
    EXPECT_EQ(::setsockopt(m_socket, SOL_SOCKET, SO_SNDBUF, &size, sizeof(size)), 0);
    EXPECT_EQ(::connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
}

SocketClient::~SocketClient() {
    ::close(m_socket);
}

std::size_t SocketClient::send(const std::string& text) const {
    std::size_t sent = 0;
    pollfd watched = {m_socket, POLLOUT, 0};
    while (sent < text.size() && ::poll(&watched, 1, 1000) > 0) {
        const ssize_t taken =
            ::send(m_socket, text.data() + sent, text.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (taken < 0) {
            break;
        }
        sent += static_cast<std::size_t>(taken);
    }
    return sent;
}

std::string SocketClient::read(std::size_t lines) const {
    std::string text;
    std::array<char, 65536> bytes{};
    for (std::size_t read = 0; read < lines;) {
        const ssize_t got = ::recv(m_socket, bytes.data(), bytes.size(), 0);
        if (got <= 0) {
            break;
        }
        text.append(bytes.data(), static_cast<std::size_t>(got));
        read += static_cast<std::size_t>(std::count(bytes.begin(), std::next(bytes.begin(), got), '\n'));
    }
    return text;
}

} // namespace pdasim::test
