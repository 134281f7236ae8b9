#pragma once

#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <utility>

namespace pdalink::test {

/// The calling thread's number, as the kernel counts threads.
inline pid_t currentThread() {
    return static_cast<pid_t>(::syscall(SYS_gettid));
}

/// Waits until a thread of this process waits for a lock; false when it does not within ten seconds.
inline bool becomesBlocked(pid_t thread) {
    for (int look = 0; look < 10000; ++look) {
        long call = -1;
        std::ifstream("/proc/self/task/" + std::to_string(thread) + "/syscall") >> call;
        if (call == SYS_futex) {
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
