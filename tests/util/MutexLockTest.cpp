#include "util/mutexlock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

TEST(MutexLock, IsTakenAndGivenBackWithResultZero) {
    cmutexlock mutex;
    EXPECT_EQ(mutex.Lock(), 0);
    EXPECT_EQ(mutex.Unlock(), 0);
    EXPECT_EQ(mutex.Lock(), 0);
    EXPECT_EQ(mutex.Unlock(), 0);
}

TEST(MutexLock, HoldsOnlyThePthreadMutex) {
    EXPECT_EQ(sizeof(cmutexlock), sizeof(pthread_mutex_t));
}

TEST(MutexLock, KeepsASecondThreadOut) {
    cmutexlock mutex;
    std::atomic<bool> entered{false};
    ASSERT_EQ(mutex.Lock(), 0);
    std::thread second([&] {
        EXPECT_EQ(mutex.Lock(), 0);
        entered = true;
        EXPECT_EQ(mutex.Unlock(), 0);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
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
