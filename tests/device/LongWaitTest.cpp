#include "device/Channel.h"
#include "device/HIDDevice.h"
#include "device/ReceiveBuffer.h"
#include "util/Settings.h"

#include "tests/support/BlockedThread.h"
#include "tests/support/SkippedSleeps.h"

#include <gtest/gtest.h>

#include <chrono>

// Waits for a reply without a terminal, whose sleeps pass at once.

namespace {

using namespace pdalink;

TEST(SilentTerminal, IsWaitedForIn490Polls) {
    emptyBuffer();
    g_isBufferCome = false;
    int polls = 0;
    const SkippedSleeps skipping([&polls](long long) {
        ++polls;
        return true;
    });
    EXPECT_EQ(channel::receive(), "");
    EXPECT_LE(polls, 490);
    EXPECT_GE(polls, 485)
        << "a poll is not slept through when the machine itself has stood still for as long";
}

TEST(SilentTerminal, IsHeardUntilTheBufferIsTaken) {
    emptyBuffer();
    g_isBufferCome = false;
    g_lock_buffer.Lock();
    QString taken;
    test::BlockedCall waiting([&taken] {
        const SkippedSleeps skipping([](long long) { return true; });
        taken = channel::receive();
    });
    EXPECT_TRUE(waiting.isBlockedOn(g_lock_buffer)); // after its last poll
    g_buffer = "last moment";
    g_isBufferCome = true;
    g_lock_buffer.Unlock();
    waiting.join();
    EXPECT_EQ(taken, "last moment");
    EXPECT_FALSE(g_isBufferCome);
}

TEST(BrokenOffReply, IsGivenUpAfter100MillisecondsWithoutAReport) {
    waitForWholeReply = true;
    emptyBuffer();
    appendReport("000060", 6);
    int sleeps = 0;
    const SkippedSleeps skipping([&sleeps](long long) {
        ++sleeps;
        return true;
    });
    EXPECT_EQ(channel::receive(), "000060");
    EXPECT_EQ(sleeps, 2) << "the first poll, and the time that every reply is given";
}

TEST(EndlessReply, IsGivenUpAfterAMinute) {
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::seconds limit(60);
    waitForWholeReply = true;
    emptyBuffer();
    appendReport("999999", 6);
    const SkippedSleeps skipping([](long long) {
        appendReport("x", 1); // something more comes in each of them
        return true;
    });
    const auto begin = Clock::now();
    channel::receive();
    EXPECT_GE(Clock::now() - begin, limit);
    EXPECT_LT(Clock::now() - begin, limit + std::chrono::seconds(20));
}

} // namespace
