// The program's own clock functions come before the C library's.

#include "tests/support/SkippedSleeps.h"

#include <ctime>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr long long kNanosecondsPerSecond = 1000000000;

thread_local const std::function<bool(long long)>* isSkipped = nullptr;
thread_local long long skipped = 0; // ns

} // namespace

SkippedSleeps::SkippedSleeps(std::function<bool(long long)> condition) : m_condition(std::move(condition)) {
    isSkipped = &m_condition;
}

SkippedSleeps::~SkippedSleeps() {
    isSkipped = nullptr;
}

// Exported, so that Qt, the C++ library and the library under test read these clocks too.
#pragma GCC visibility push(default)
extern "C" {

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the system's names are reserved
int clock_gettime(clockid_t clock, timespec* time) noexcept {
    const int result = static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    if (clock == CLOCK_MONOTONIC && skipped != 0) {
        const long long now = time->tv_sec * kNanosecondsPerSecond + time->tv_nsec + skipped;
        time->tv_sec = now / kNanosecondsPerSecond;
        time->tv_nsec = now % kNanosecondsPerSecond;
    }
    return result;
}

int nanosleep(const timespec* duration, timespec* remaining) {
    if (isSkipped != nullptr) {
        const long long time = duration->tv_sec * kNanosecondsPerSecond + duration->tv_nsec;
        skipped += time; // what the condition does happens at the end of the sleep
        if ((*isSkipped)(time)) {
            return 0;
        }
        skipped -= time;
    }
    return static_cast<int>(syscall(SYS_nanosleep, duration, remaining));
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

} // extern "C"
#pragma GCC visibility pop
