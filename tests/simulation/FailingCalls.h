#pragma once

#include <atomic>
#include <vector>

namespace pdalink::test {

/// Has one system call fail, or that one and all after it, whoever makes it: the C library and Qt too. From
/// the object's construction to the end of the process, the kernel (seccomp(2)) asks a thread of the object's
/// own about the calls of the thread that constructed it and of those that this one creates.
class FailingCalls {
public:
    struct Fault {
        int place; ///< which one of the calls, counted from 1
        int error;
        bool isLasting;
    };

    /// A write takes half of its bytes, and the next one fails. Of no number, only next() tells of failures.
    /// Throws std::system_error.
    FailingCalls(std::vector<int> numbers, Fault fault);

    /// Calls count, and fail, while it is armed.
    void arm(bool isArmed) { m_isArmed = isArmed; }
    bool hasStruck() const { return m_count >= m_fault.place; }

    /// Counts a call. Returns the error with which it fails, 0 for none.
    int next();

private:
    void installFilter();
    [[noreturn]] void serve();

    const std::vector<int> m_numbers;
    const Fault m_fault;
    const bool m_isWrite;
    std::atomic<bool> m_isArmed{false};
    std::atomic<int> m_count{0};
    std::atomic<int> m_listener{-1};
};

} // namespace pdalink::test
