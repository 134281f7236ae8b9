#pragma once

#include <cstddef>
#include <string>

namespace pdasim::test {

/// A client of a socket that reads only when it is told to.
class SocketClient {
public:
    explicit SocketClient(const std::string& path);
    SocketClient(const SocketClient&) = delete;
    SocketClient& operator=(const SocketClient&) = delete;
    ~SocketClient();

    /// Sends for as long as the other side takes it within a second; how much it has taken.
    std::size_t send(const std::string& text) const;
    /// N lines, or fewer at the end of the stream.
    std::string read(std::size_t lines) const;

private:
    int m_socket;
};

} // namespace pdasim::test
