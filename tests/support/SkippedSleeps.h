#pragma once

#include <functional>

/// While it lives, the sleeps of this thread of which a condition says so pass at once; the monotonic clock
/// goes on, for this thread, by what was skipped. For programs that contain SkippedSleeps.cpp.
class SkippedSleeps {
public:
    /// The condition is given the nanoseconds of the sleep, and takes its own time.
    explicit SkippedSleeps(std::function<bool(long long)> condition);
    ~SkippedSleeps();
    SkippedSleeps(const SkippedSleeps&) = delete;
    SkippedSleeps& operator=(const SkippedSleeps&) = delete;

private:
    std::function<bool(long long)> m_condition;
};
