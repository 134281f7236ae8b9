#include "util/mutexlock.h"
#include "tests/support/BlockedThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

static_assert(sizeof(cmutexlock) == sizeof(pthread_mutex_t), "the lock is its mutex and nothing else");

TEST(MutexLock, KeepsASecondThreadOut) {
    cmutexlock mutex;
    std::atomic<bool> entered{false};
    EXPECT_EQ(mutex.Lock(), 0);
    pdalink::test::BlockedCall second([&] {
        EXPECT_EQ(mutex.Lock(), 0);
        entered = true;
        EXPECT_EQ(mutex.Unlock(), 0);
    });
    EXPECT_TRUE(second.isBlockedOn(mutex));
    EXPECT_FALSE(entered);
    EXPECT_EQ(mutex.Unlock(), 0);
    second.join();
    EXPECT_TRUE(entered);
}

TEST(MutexLock, SerialisesWhatItGuards) {
    cmutexlock mutex;
    int count = 0;
    const auto raise = [&] {
        for (int i = 0; i < 20000; ++i) {
            mutex.Lock();
            ++count;
            mutex.Unlock();
        }
    };
    std::thread second(raise);
    raise();
    second.join();
    EXPECT_EQ(count, 40000);
}

} // namespace
