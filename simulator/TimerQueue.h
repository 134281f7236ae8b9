#pragma once

#include <chrono>
#include <functional>
#include <map>

namespace pdasim {

/** What is to be done later. Not thread-safe. */
class TimerQueue {
public:
    using Clock = std::chrono::steady_clock;

    /** Actions due at one time keep their order. */
    void schedule(const void* owner, Clock::time_point due, std::function<void()> action);
    void cancel(const void* owner);
    void clear() { m_timers.clear(); }

    /** How long poll(2) may wait for the next action; -1 when there is none. */
    int pollTimeout() const;
    /** How long it may wait for a time. */
    static int pollTimeout(Clock::time_point due);
    /** False when nothing was due. */
    bool runDue();

private:
    struct Timer {
        const void* owner;
        std::function<void()> action;
    };

    std::multimap<Clock::time_point, Timer> m_timers;
};

} // namespace pdasim
