#pragma once

#include "TimerQueue.h"
#include "node/FileDescriptor.h"

#include <poll.h>

#include <utility>

namespace pdasim {

/**
 * A socket that clients connect to. When there is no descriptor left for a client it rests for a moment, for
 * poll(2) would find it readable without end. The client waits meanwhile.
 */
class ListeningSocket {
public:
    using Clock = TimerQueue::Clock;

    explicit ListeningSocket(FileDescriptor socket) : m_socket(std::move(socket)) {}

    int descriptor() const { return m_socket.get(); }
    /** What poll(2) is to wait for. */
    short events() const { return Clock::now() < m_restsUntil ? short{0} : short{POLLIN}; }
    /** The next client, or a descriptor that is not open. */
    FileDescriptor accept(int flags);
    /** When poll(2) has to be called anew after a client that could not be accepted. */
    Clock::time_point restsUntil() const { return m_restsUntil; }

private:
    FileDescriptor m_socket;
    Clock::time_point m_restsUntil;
};

} // namespace pdasim
