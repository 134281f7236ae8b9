#include "control/ControlSocket.h"

#include "node/FileDescriptor.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

namespace pdasim {

namespace {

[[noreturn]] void fail(int error, const std::string& what, const std::string& path) {
    throw std::system_error(error, std::generic_category(), what + " " + path);
}

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        throw AdvisedError(ENAMETOOLONG, "at most 107 bytes make a socket's path, too long is " + path,
                           "Give --control a shorter one");
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

FileDescriptor newSocket(const std::string& path) {
    FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!socket.isOpen()) {
        fail(errno, "cannot make a socket for", path);
    }
    return socket;
}

bool connects(const FileDescriptor& socket, const sockaddr_un& address) {
    return ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

/// A socket that a server left behind when it was killed is in nobody's use.
void removeAbandoned(const std::string& path, const sockaddr_un& address) {
    struct stat information {};
    if (::lstat(path.c_str(), &information) != 0 || !S_ISSOCK(information.st_mode)) {
        return;
    }
    if (!connects(newSocket(path), address) && errno == ECONNREFUSED) {
        (void)::unlink(path.c_str());
    }
}

} // namespace

FileDescriptor listenAtControl(const std::string& path) {
    const sockaddr_un address = addressOf(path);
    removeAbandoned(path, address);
    FileDescriptor socket = newSocket(path);
    // The mode of the socket's file follows that of the socket, less the umask.
    (void)::fchmod(socket.get(), S_IRUSR | S_IWUSR);
    if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        ::listen(socket.get(), SOMAXCONN) != 0) {
        const int error = errno;
        throw AdvisedError(error, "cannot listen at " + path,
                           error == EADDRINUSE ? "It is taken: give another path with --control"
                                               : "Give --control a path in a folder that is there and that "
                                                 "you may write to");
    }
    return socket;
}

ControlClient::ControlClient(const std::string& path) : m_socket(newSocket(path)) {
    if (!connects(m_socket, addressOf(path))) {
        fail(errno, "cannot reach a running pdasim at", path);
    }
}

void ControlClient::send(const Document& request) {
    std::string line = writeJson(request) + "\n";
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
