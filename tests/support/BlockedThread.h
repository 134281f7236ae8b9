#pragma once

#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
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

/// Whether this is the kernel's number of the wait for a lock. A program for another machine, run by an
/// emulator, sees the number of the machine that it is on.
inline bool isLockWait(long systemCall) {
    constexpr long kAmd64Futex = 202;
    return systemCall == SYS_futex || systemCall == kAmd64Futex;
}

/// The address of the lock that a thread of this process waits for; 0 for none. Takes no lock itself.
inline std::uintptr_t lockAwaitedBy(pid_t thread) {
    const std::string path = "/proc/self/task/" + std::to_string(thread) + "/syscall";
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    char text[64] = {};
    const bool isRead = file >= 0 && ::read(file, text, sizeof text - 1) > 0;
    ::close(file);
    char* arguments = text;
    const bool isWait = isRead && isLockWait(std::strtol(text, &arguments, 10)) && arguments != text;
    return isWait ? std::strtoul(arguments, nullptr, 16) : 0;
}

/// Waits until a thread of this process waits for a lock, if an object is given for one in it; false when it
/// does not within ten seconds.
inline bool becomesBlocked(pid_t thread, const void* object = nullptr, std::size_t size = 0) {
    const auto begin = reinterpret_cast<std::uintptr_t>(object);
    for (int look = 0; look < 10000; ++look) {
        const std::uintptr_t lock = lockAwaitedBy(thread);
        if (lock != 0 && (object == nullptr || lock - begin < size)) {
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

    /// True once the call waits for a lock; false when it does not.
    bool isBlocked() const { return becomesBlocked(startedThread()) && !m_isDone; }
    /// The same for a lock in this object.
    template <typename Object>
    bool isBlockedOn(const Object& object) const {
        return becomesBlocked(startedThread(), &object, sizeof object) && !m_isDone;
    }
    void join() {
        if (m_caller.joinable()) {
            m_caller.join();
        }
    }

private:
    pid_t startedThread() const {
        while (m_thread == 0) {
            std::this_thread::yield();
        }
        return m_thread;
    }

    std::atomic<pid_t> m_thread{0};
    std::atomic<bool> m_isDone{false};
    std::thread m_caller;
};

} // namespace pdalink::test
