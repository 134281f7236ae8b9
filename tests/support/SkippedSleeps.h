#pragma once

#include <functional>

/// While it lives, the sleeps of this thread of which a condition says so pass at once; the monotonic clock
/// goes on, for this thread, by what was skipped. For programs that contain SkippedSleeps.cpp.
class SkippedSleeps {
public:
    explicit SkippedSleeps(std::function<bool()> condition);
    ~SkippedSleeps();
    SkippedSleeps(const SkippedSleeps&) = delete;
    SkippedSleeps& operator=(const SkippedSleeps&) = delete;

private:
    std::function<bool()> m_condition;
};
