#include "control/ControlClient.h"

#include "control/UnixSocket.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>

namespace pdasim {

ControlClient::ControlClient(const std::string& path) : m_socket(connectTo(path)) {
}

void ControlClient::send(const Json& request) {
    std::string line = request.write() + "\n";
    while (!line.empty()) {
        const ssize_t sent = ::send(m_socket.get(), line.data(), line.size(), MSG_NOSIGNAL);
        if (sent >= 0) {
            line.erase(0, static_cast<std::size_t>(sent));
        } else if (errno != EINTR) {
            throwSystemError("cannot send the command");
        }
    }
}

std::optional<std::string> ControlClient::readLine() {
    while (true) {
        const std::size_t end = m_input.find('\n');
        if (end != std::string::npos) {
            std::string line = m_input.substr(0, end);
            m_input.erase(0, end + 1);
            return line;
        }
        std::array<char, 4096> bytes{};
        const ssize_t got = ::recv(m_socket.get(), bytes.data(), bytes.size(), 0);
        if (got > 0) {
            m_input.append(bytes.data(), static_cast<std::size_t>(got));
        } else if (got == 0 || errno != EINTR) {
            return std::nullopt;
        }
    }
}

} // namespace pdasim
