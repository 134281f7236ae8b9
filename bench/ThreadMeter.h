#pragma once

#include <chrono>
#include <optional>

namespace pdalink::bench {

/// The kernel's number of the calling thread.
int currentThreadId();

/// What a thread has used since it began.
struct ThreadUsage {
    std::chrono::nanoseconds cpu{};
    /// How often it went to sleep of its own accord, which is how often it was woken.
    long wakeUps = 0;
};

/// Measures what one thread of this process uses from the construction on; without a thread nothing.
class ThreadMeter {
public:
    explicit ThreadMeter(std::optional<int> threadId);

    ThreadUsage used() const;

private:
    std::optional<int> m_threadId;
    ThreadUsage m_atStart;
};

} // namespace pdalink::bench
