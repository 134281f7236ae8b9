// The program's own reading of the time of day comes before the C library's.

#include "Clocks.h"

#include "analysis/ResultStores.h"
#include "device/HIDDevice.h"

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

thread_local bool isWatching = false;
thread_local std::string flagsSeen; // NOLINT(cert-err58-cpp): an empty one needs no memory

void lookAtTaskFlag() {
    const char flag = m_PerformTasksYN == 0 ? '0' : '1';
    if (isWatching && (flagsSeen.empty() || flagsSeen.back() != flag)) {
        flagsSeen += flag;
    }
}

} // namespace

SwiftReplies::SwiftReplies() : SkippedSleeps([](long long) { return g_isBufferCome.load(); }) {
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

// Exported, so that Qt, the C++ library and the library under test read this clock too.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the system's names are reserved
extern "C" __attribute__((visibility("default"))) int gettimeofday(timeval* time, void* /*zone*/) noexcept {
    lookAtTaskFlag();
    return static_cast<int>(syscall(SYS_gettimeofday, time, nullptr));
}
