#include "Fiber.h"

#include <cxxabi.h>
#include <pthread.h>

#if PDALINK_IS_SANITIZED
#include <sanitizer/asan_interface.h>
#include <sanitizer/common_interface_defs.h>
#endif

namespace {

/// What the C++ runtime keeps of a thread's exceptions (Itanium C++ ABI, 2.2.2).
struct Exceptions {
    void* caught;
    unsigned int uncaught;
};

Exceptions& exceptions() {
    return *reinterpret_cast<Exceptions*>(abi::__cxa_get_globals());
}

} // namespace

namespace pdalink::test {

Fiber::Fiber() {
    pthread_attr_t own;
    pthread_getattr_np(pthread_self(), &own);
    pthread_attr_getstack(&own, &m_stack, &m_size);
    pthread_attr_destroy(&own);
}

Fiber::Fiber(void* stack, std::size_t size, void (*body)()) : m_body(body), m_stack(stack), m_size(size) {
#if PDALINK_IS_SANITIZED // of frames that were there before
    ASAN_UNPOISON_MEMORY_REGION(stack, size);
#endif
    getcontext(&m_context);
    m_context.uc_stack.ss_sp = stack;
    m_context.uc_stack.ss_size = size;
    makecontext(&m_context, begin, 0);
}

void Fiber::begin() {
#if PDALINK_IS_SANITIZED
    __sanitizer_finish_switch_fiber(nullptr, nullptr, nullptr);
#endif
    exceptions() = {};
    s_next->m_body();
}

void Fiber::goOnWith(Fiber& next) {
    const Exceptions ownExceptions = exceptions();
#if PDALINK_IS_SANITIZED
    void* ownFrames = nullptr;
    __sanitizer_start_switch_fiber(&ownFrames, next.m_stack, next.m_size);
#endif
    s_next = &next;
    swapcontext(&m_context, &next.m_context);
#if PDALINK_IS_SANITIZED
    __sanitizer_finish_switch_fiber(ownFrames, nullptr, nullptr);
#endif
    exceptions() = ownExceptions;
}

} // namespace pdalink::test
