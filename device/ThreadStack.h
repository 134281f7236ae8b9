#pragma once

#include <cstddef>

namespace pdalink {

/// Memory for the stack of one thread, with a guard page below it. The system keeps its record of a thread on
/// that thread's stack: as long as this memory is there, the thread's handle can be asked for whatever has
/// become of the thread, and even if another one has joined or detached it.
class ThreadStack {
public:
    /// As large as the stack of any other new thread. Throws std::bad_alloc without the memory.
    ThreadStack();
    /// No thread may use it any more.
    ~ThreadStack();
    ThreadStack(const ThreadStack&) = delete;
    ThreadStack& operator=(const ThreadStack&) = delete;

    void* address() const { return m_address; }
    std::size_t size() const { return m_size; }

    /// Leaves the memory to a thread that may still need it, for good.
    void abandon() { m_address = nullptr; }

private:
    std::size_t m_size;
    void* m_address;
};

} // namespace pdalink
