#pragma once

#include "TimerQueue.h"
#include "node/NodeOwner.h"

#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace pdasim {

/**
 * What one terminal is plugged into: its way to the hosts, its clock and its lock.
 *
 * Every call but those of mutex() and settle() needs the lock.
 */
class TerminalPort {
public:
    using Clock = TimerQueue::Clock;

    TerminalPort() = default;
    TerminalPort(const TerminalPort&) = delete;
    TerminalPort& operator=(const TerminalPort&) = delete;
    virtual ~TerminalPort() = default;

    virtual std::mutex& mutex() = 0;
    /** Waits, without the lock, until all that hosts and clocks have caused so far has been dealt with. */
    virtual void settle() = 0;

    /** Who is told of what hosts do. Comes before every plugging. */
    virtual void setOwner(NodeOwner& owner) = 0;
    /** Runs an action later, with the lock held; actions due at one time keep their order. */
    virtual void schedule(Clock::time_point due, std::function<void()> action) = 0;
    /** Forgets all such actions. */
    virtual void cancel() = 0;

    /** Does nothing for a terminal that is plugged in. */
    virtual void plug() = 0;
    /** Does nothing for a terminal that is not plugged in. */
    virtual void unplug() = 0;
    /** Reports for the hosts, as fast as they fetch them; lost when there is none. */
    virtual void send(const std::vector<std::string>& reports) = 0;

    /** Where hosts find the terminal, for people; empty while it is unplugged. */
    virtual std::string place() const = 0;
    /** How many hosts have the terminal open. */
    virtual std::size_t openFiles() const = 0;
};

} // namespace pdasim
