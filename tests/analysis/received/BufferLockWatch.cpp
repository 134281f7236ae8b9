// The program's own pthread_mutex_lock comes before the C library's.

#include "BufferLockWatch.h"

#include "device/HIDDevice.h"

#include <dlfcn.h>
#include <pthread.h>
#include <utility>

namespace {

thread_local const std::function<void()>* watching = nullptr;

bool isBufferLock(const pthread_mutex_t* mutex) {
    static_assert(sizeof(cmutexlock) == sizeof(pthread_mutex_t), "the lock is its mutex and nothing else");
    return static_cast<const void*>(mutex) == static_cast<const void*>(&g_lock_buffer);
}

} // namespace

BufferLockWatch::BufferLockWatch(std::function<void()> action) : m_action(std::move(action)) {
    watching = &m_action;
}

BufferLockWatch::~BufferLockWatch() {
    watching = nullptr;
}

// Exported, so that the library under test locks through it.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the system's names are reserved
extern "C" __attribute__((visibility("default"))) int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    static auto* const real =
        reinterpret_cast<int (*)(pthread_mutex_t*)>(::dlsym(RTLD_NEXT, "pthread_mutex_lock"));
    if (watching != nullptr && isBufferLock(mutex)) {
        (*watching)();
    }
    return real(mutex);
}
