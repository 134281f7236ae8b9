#include "ListeningSocket.h"

#include <sys/socket.h>

#include <cerrno>

namespace pdasim {

namespace {

constexpr std::chrono::milliseconds Rest(100);

bool isExhaustion(int error) {
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

} // namespace

FileDescriptor ListeningSocket::accept(int flags) {
    FileDescriptor client(::accept4(m_socket.get(), nullptr, nullptr, flags | SOCK_CLOEXEC));
    if (!client.isOpen() && isExhaustion(errno)) {
        m_restsUntil = Clock::now() + Rest;
    }
    return client;
}

} // namespace pdasim
