#include "node/Doorbell.h"

#include <fcntl.h>
#include <sys/uio.h>
#include <termios.h>

#include <array>
#include <cerrno>
#include <cstdlib>

namespace pdasim {

Doorbell::Doorbell() {
    // Close-on-exec matters: a child that inherited the master would keep the node from ever hanging up.
    m_master.reset(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK));
    std::array<char, 64> name{};
    if (!m_master.isOpen() || ::grantpt(m_master.get()) != 0 || ::unlockpt(m_master.get()) != 0 ||
        ::ptsname_r(m_master.get(), name.data(), name.size()) != 0) {
        throwSystemError("cannot open a pseudo-terminal");
    }
    m_path = name.data();
    m_slave.reset(::open(m_path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK));
    termios settings{};
    if (!m_slave.isOpen() || ::tcgetattr(m_slave.get(), &settings) != 0) {
        throwSystemError("cannot set a pseudo-terminal up");
    }
    ::cfmakeraw(&settings);
    if (::tcsetattr(m_slave.get(), TCSANOW, &settings) != 0) {
        throwSystemError("cannot set a pseudo-terminal up");
    }
}

void Doorbell::ring() {
    std::array<char, 1> byte = {'!'};
    const iovec piece = {byte.data(), byte.size()};
    // writev instead of write: the test bed's wrapper of write looks every descriptor up.
    if (::writev(m_master.get(), &piece, 1) != 1 && errno != EAGAIN) {
        throwSystemError("cannot make the node readable");
    }
}

void Doorbell::silence() {
    (void)::tcflush(m_slave.get(), TCIFLUSH);
}

void Doorbell::hangUp() {
    m_master.reset();
    m_slave.reset();
}

} // namespace pdasim
