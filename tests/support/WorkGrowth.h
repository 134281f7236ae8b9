#pragma once

#include <ctime>

#include <algorithm>
#include <cstddef>
#include <limits>

namespace pdalink::test {

/// The CPU time that an action takes this thread, in seconds.
template <typename Action>
double workOf(const Action& action) {
    const auto now = [] {
        timespec time{};
        ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
    };
    const double begin = now();
    action();
    return now() - begin;
}

/// How many times as much work a task of eight times the size is: 8 when it grows linearly, 64 with the
/// square.
template <typename Task>
double growthOf(const Task& task, std::size_t size) {
    double small = std::numeric_limits<double>::max();
    double large = std::numeric_limits<double>::max();
    for (int attempt = 0; attempt < 3; ++attempt) { // the least of them was disturbed least
        small = std::min(small, workOf([&] { task(size); }));
        large = std::min(large, workOf([&] { task(8 * size); }));
    }
    return large / small;
}

/// Between the two, far from either.
constexpr double MaxLinearGrowth = 24;

} // namespace pdalink::test
