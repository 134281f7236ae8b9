#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <string_view>

/// Threads and time of a program whose calls are replaced when it is linked (the target
/// pdalink_virtual_calls).
///
/// From begin() on threads are fibers of the one that there is, so that one runs at a time. They take turns
/// at the replaced calls: those that sleep, poll, lock a mutex, create, join or detach a thread, or use the
/// node (VirtualNode.h). The clock stands still while a thread can run; when all wait, it jumps to the
/// earliest moment at which one can go on. Which of several goes on is decided by a seed. So a run depends on
/// nothing but its seed, and waits cost nothing.
///
/// Condition variables, pthread_cancel and std::thread, whose threads are created inside the C++ library, are
/// not replaced.
namespace pdalink::test::virtual_time {

using Time = std::chrono::nanoseconds;

constexpr Time kNever = Time::max();

/// The calling thread, which is the only one, becomes the first of the virtual threads. From now on all calls
/// are the replaced ones.
void begin(std::uint64_t seed);

/// All calls are the system's again. The calling thread has to be the only one that is left.
void end();

/// Decides anew which threads go on.
void reseed(std::uint64_t seed);

/// The number of the calling thread: 0 for the first one.
int thread();

/// Asked before some replaced calls ("open", "read", "write" and "poll" of the node, and "pthread_create")
/// for the error with which it fails; 0 for none.
inline std::function<int(std::string_view call)> failure;
int failureOf(std::string_view call);

/// What the monotonic clock shows.
Time now();

/// Does something at a time, between two turns. Of several things at one time the first to be told is done
/// first.
void at(Time time, std::function<void()> action);

/// The process is aborted when the clock would go beyond this time: something waits without an end. So it is
/// when all threads wait for ever, or one goes on and on without waiting.
void abortAfter(Time time);

/// The calling thread waits until the condition is met or the time has come. The condition is looked at by
/// whichever thread is running.
void waitUntil(Time deadline, std::function<bool()> condition);

/// Another thread may go on first.
void yield();

/// While one exists, the calling thread is behind a replaced call, where nothing is the caller's doing.
struct ReplacedCall {
    ReplacedCall() { ++depth; }
    ~ReplacedCall() { --depth; }
    ReplacedCall(const ReplacedCall&) = delete;
    ReplacedCall& operator=(const ReplacedCall&) = delete;

    static inline int depth = 0; ///< of the thread that runs
};

} // namespace pdalink::test::virtual_time
