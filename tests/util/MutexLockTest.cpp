#include "util/mutexlock.h"
#include "tests/support/BlockedThread.h"

#include <gtest/gtest.h>

#include <atomic>

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

} // namespace
