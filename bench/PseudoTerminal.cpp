#include "PseudoTerminal.h"

#include "TerminalMessages.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace pdalink::bench {

namespace {

int checked(int result, const char* what) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

void closeIfOpen(int& descriptor) {
    if (descriptor >= 0) {
        (void)::close(descriptor);
        descriptor = -1;
    }
}

} // namespace

PseudoTerminal::PseudoTerminal()
    : m_master(checked(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC), "cannot open a pseudo-terminal")),
      m_stop(checked(::eventfd(0, EFD_CLOEXEC), "cannot create an event")) {
    checked(::grantpt(m_master), "grantpt");
    checked(::unlockpt(m_master), "unlockpt");
    m_path = ::ptsname(m_master);
    // Stays open, so that the master sees no hang-up between two users of the node.
    m_slave = checked(::open(m_path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC), "cannot open the slave");
    termios settings{};
    checked(::tcgetattr(m_slave, &settings), "tcgetattr");
    ::cfmakeraw(&settings);
    checked(::tcsetattr(m_slave, TCSANOW, &settings), "tcsetattr");
    m_answering = std::thread([this] { answerUntilStopped(); });
}

PseudoTerminal::~PseudoTerminal() {
    hangUp();
    closeIfOpen(m_slave);
    closeIfOpen(m_stop);
}

void PseudoTerminal::hangUp() {
    if (m_answering.joinable()) {
        (void)::eventfd_write(m_stop, 1);
        m_answering.join();
    }
    closeIfOpen(m_master);
}

void PseudoTerminal::answerUntilStopped() const {
    std::string received;
    std::array<pollfd, 2> sources{{{m_master, POLLIN, 0}, {m_stop, POLLIN, 0}}};
    while (::poll(sources.data(), sources.size(), -1) > 0 && sources[1].revents == 0) {
        std::array<char, 4096> bytes{};
        const ssize_t size = ::read(m_master, bytes.data(), sizeof bytes);
        received.append(bytes.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
        const std::size_t length = announcedLength(received);
        if (length > 0 && received.size() >= length) {
            const std::string reply = replyTo(received);
            received.clear();
            (void)!::write(m_master, reply.data(), reply.size());
        }
    }
}

} // namespace pdalink::bench
