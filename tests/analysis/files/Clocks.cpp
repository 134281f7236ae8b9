// The program's own clock functions come before the C library's.

#include "Clocks.h"

#include "analysis/ResultStores.h"
#include "device/HIDDevice.h"

#include <ctime>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

constexpr long long kNanosecondsPerSecond = 1000000000;

thread_local bool isSwift = false;
thread_local long long skipped = 0; // ns
thread_local bool isWatching = false;
thread_local std::string flagsSeen; // NOLINT(cert-err58-cpp): an empty one needs no memory

void lookAtTaskFlag() {
    const char flag = m_PerformTasksYN == 0 ? '0' : '1';
    if (isWatching && (flagsSeen.empty() || flagsSeen.back() != flag)) {
        flagsSeen += flag;
    }
}

} // namespace

SwiftReplies::SwiftReplies() {
    isSwift = true;
}

SwiftReplies::~SwiftReplies() {
    isSwift = false;
}

TaskFlagWatch::TaskFlagWatch() {
    flagsSeen.clear();
    isWatching = true;
}

TaskFlagWatch::~TaskFlagWatch() {
    isWatching = false;
}

std::string TaskFlagWatch::seen() {
    return flagsSeen;
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

int gettimeofday(timeval* time, void* /*zone*/) noexcept {
    lookAtTaskFlag();
    return static_cast<int>(syscall(SYS_gettimeofday, time, nullptr));
}

int nanosleep(const timespec* duration, timespec* remaining) {
    if (isSwift && g_isBufferCome) {
        skipped += duration->tv_sec * kNanosecondsPerSecond + duration->tv_nsec;
        return 0;
    }
    return static_cast<int>(syscall(SYS_nanosleep, duration, remaining));
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

} // extern "C"
#pragma GCC visibility pop
