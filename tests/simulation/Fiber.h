#pragma once

#include <cstddef>
#include <ucontext.h>

namespace pdalink::test {

/// One of several flows of control that share a thread: each runs until it lets another one go on.
class Fiber {
public:
    /// The flow that is running.
    Fiber();
    /// One that begins with `body`, which never returns, once it is gone on with.
    Fiber(void* stack, std::size_t size, void (*body)());
    Fiber(const Fiber&) = delete;
    Fiber& operator=(const Fiber&) = delete;

    /// Lets another one go on; this one is the running one. Returns when this one is gone on with.
    void goOnWith(Fiber& next);

private:
    static void begin();

    static inline Fiber* s_next = nullptr; ///< the one that is gone on with
    ucontext_t m_context{};
    void (*m_body)() = nullptr;
    // Which the address sanitizer is told.
    void* m_stack = nullptr;
    std::size_t m_size = 0;
};

} // namespace pdalink::test
