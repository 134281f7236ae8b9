// The program's own pthread_mutex_lock comes before the C library's.

#include "ReceivedFixture.h"

#include <dlfcn.h>
#include <pthread.h>

namespace {

/// Runs each time that this thread is about to take the receive buffer's lock.
thread_local const std::function<void()>* atBufferLock = nullptr;

bool isBufferLock(const pthread_mutex_t* mutex) {
    static_assert(sizeof(cmutexlock) == sizeof(pthread_mutex_t), "the lock is its mutex and nothing else");
    return static_cast<const void*>(mutex) == static_cast<const void*>(&g_lock_buffer);
}

} // namespace

// Exported, so that the library under test locks through it.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the system's names are reserved
extern "C" __attribute__((visibility("default"))) int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    static auto* const real =
        reinterpret_cast<int (*)(pthread_mutex_t*)>(::dlsym(RTLD_NEXT, "pthread_mutex_lock"));
    if (atBufferLock != nullptr && isBufferLock(mutex)) {
        (*atBufferLock)();
    }
    return real(mutex);
}

namespace {

/// What a handler has done when it empties the receive buffer.
using ReceivedClearing = ReceivedBy;

TEST_P(ReceivedClearing, HasItsPlaceBetweenStoreAndFlag) {
    if (handler().lowered != nullptr) {
        *handler().lowered = true;
    }
    std::vector<std::string> storedBefore;
    bool isLoweredBefore = false;
    const std::function<void()> look = [&] {
        if (storedBefore.empty()) { // the sender of the acknowledgement empties the buffer once more
            storedBefore = stored(handler());
            isLoweredBefore = handler().lowered != nullptr && !*handler().lowered;
        }
    };
    atBufferLock = &look;
    EXPECT_EQ(hand(handler(), usualMessage()), 0);
    atBufferLock = nullptr;
    const std::vector<std::string> nothing(handler().storeSize);
    EXPECT_EQ(storedBefore, handler().storesBeforeClearing ? usualStore() : nothing);
    EXPECT_FALSE(isLoweredBefore);
    EXPECT_EQ(stored(handler()), usualStore());
    EXPECT_TRUE(handler().lowered == nullptr || !*handler().lowered);
}

INSTANTIATE_TEST_SUITE_P(Of, ReceivedClearing, testing::ValuesIn(allHandlers()), NameOfHandler());

} // namespace
