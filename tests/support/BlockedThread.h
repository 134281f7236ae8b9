#pragma once

#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <utility>

namespace pdalink::test {

/// The calling thread's number, as the kernel counts threads.
inline pid_t currentThread() {
    return static_cast<pid_t>(::syscall(SYS_gettid));
}

/// The system call that a thread of this process is in, by its number; -1 for none. Takes no lock itself.
inline long systemCallOf(pid_t thread) {
    const std::string path = "/proc/self/task/" + std::to_string(thread) + "/syscall";
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    char text[32] = {};
    const bool isRead =
        file >= 0 && ::read(file, text, sizeof text - 1) > 0 && text[0] >= '0' && text[0] <= '9';
    ::close(file);
    return isRead ? std::strtol(text, nullptr, 10) : -1;
}

/// Waits until a thread of this process waits for a lock; false when it does not within ten seconds.
inline bool becomesBlocked(pid_t thread) {
    for (int look = 0; look < 10000; ++look) {
        if (systemCallOf(thread) == SYS_futex) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

/// A call on a thread of its own that is to wait for a lock.
class BlockedCall {
public:
    explicit BlockedCall(std::function<void()> call)
        : m_caller([this, call = std::move(call)] {
              m_thread = currentThread();
              call();
              m_isDone = true;
          }) {}
    ~BlockedCall() { join(); }
    BlockedCall(const BlockedCall&) = delete;
    BlockedCall& operator=(const BlockedCall&) = delete;

    /// True once the call waits for a lock; false when it has ended without.
    bool isBlocked() const {
        while (m_thread == 0) {
            std::this_thread::yield();
        }
        return becomesBlocked(m_thread) && !m_isDone;
    }
    void join() {
        if (m_caller.joinable()) {
            m_caller.join();
        }
    }

private:
    std::atomic<pid_t> m_thread{0};
    std::atomic<bool> m_isDone{false};
    std::thread m_caller;
};

} // namespace pdalink::test
