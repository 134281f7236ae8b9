#pragma once

#include "Host.h"

#include <chrono>

namespace pdactl {

/** The channel to the terminal, kept open while the terminal comes and goes. */
class Channel {
public:
    explicit Channel(const Host& host) : m_host(host) {}

    /** Opens it. Throws a Failure when there is no terminal. */
    void open();
    /** Opens it anew, every second at most, when the terminal has gone and is back. */
    void keepOpen();

private:
    using Clock = std::chrono::steady_clock;

    bool tryToOpen();

    const Host& m_host;
    bool m_isGone = false;
    Clock::time_point m_lastTry{};
};

} // namespace pdactl
