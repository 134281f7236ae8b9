#include "device/Channel.h"
#include "device/HIDDevice.h"
#include "device/ReceiveBuffer.h"
#include "util/Settings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

// The wait for the whole of a reply that never ends, without a terminal: nothing delays its reports.

namespace {

using Clock = std::chrono::steady_clock;
using namespace pdalink;

TEST(EndlessReply, IsGivenUpAfterAMinute) {
    constexpr std::chrono::seconds limit(60);
    waitForWholeReply = true;
    Clock::duration longest{};
    // A pause of 100 ms ends the wait early, and a busy machine may make one: another chance.
    const auto deadline = Clock::now() + 4 * limit;
    while (longest < limit && Clock::now() < deadline) {
        emptyBuffer();
        appendReport("999999", 6);
        std::atomic<bool> done{false};
        std::thread terminal([&done] {
            while (!done) {
                appendReport("x", 1);
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
        });
        const auto begin = Clock::now();
        channel::receive();
        longest = std::max(longest, Clock::now() - begin);
        done = true;
        terminal.join();
    }
    EXPECT_GE(longest, limit);
    EXPECT_LT(longest, limit + std::chrono::seconds(20));
}

} // namespace
