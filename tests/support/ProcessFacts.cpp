#include "ProcessFacts.h"

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <malloc.h>
#include <map>
#include <stdexcept>
#include <thread>

/// The sanitizers' own, which is there with them only. GCC has no header for it.
extern "C" __attribute__((weak)) std::size_t __sanitizer_get_current_allocated_bytes(); // NOLINT: its name

namespace pdalink::test {

namespace {

std::chrono::nanoseconds readClock(clockid_t clock) {
    timespec time{};
    if (::clock_gettime(clock, &time) != 0) {
        throw std::runtime_error("no such CPU clock");
    }
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

/// The kernel's number for the CPU clock of a thread: its complemented id, then "per thread" and "run time".
clockid_t clockOfThread(int threadId) {
    constexpr int kPerThreadRunTime = 6;
    return static_cast<clockid_t>(~threadId * 8 + kPerThreadRunTime);
}

} // namespace

std::chrono::nanoseconds processCpuTime() {
    return readClock(CLOCK_PROCESS_CPUTIME_ID);
}

std::chrono::nanoseconds threadCpuTime() {
    return readClock(CLOCK_THREAD_CPUTIME_ID);
}

std::chrono::nanoseconds threadCpuTime(int threadId) {
    return readClock(clockOfThread(threadId));
}

std::vector<int> threadIds() {
    std::vector<int> ids;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        ids.push_back(std::stoi(entry.path().filename()));
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

int threadCount() {
    return static_cast<int>(threadIds().size());
}

std::vector<std::string> descriptorTargets() {
    std::map<int, std::string> targets;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        const std::filesystem::path target = std::filesystem::read_symlink(entry.path(), gone);
        // The descriptor of this very listing is no longer there when it is looked at from outside.
        if (!gone && target.string().find("/proc/") != 0) {
            targets.emplace(std::stoi(entry.path().filename()), target);
        }
    }
    std::vector<std::string> list;
    list.reserve(targets.size());
    for (auto& [number, target] : targets) {
        list.push_back(std::move(target));
    }
    return list;
}

int descriptorCount() {
    return static_cast<int>(descriptorTargets().size());
}

std::size_t heapInUse() {
    if (__sanitizer_get_current_allocated_bytes != nullptr) {
        return __sanitizer_get_current_allocated_bytes();
    }
    const auto known = mallinfo2();
    return known.uordblks + known.hblkhd;
}

bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace pdalink::test
