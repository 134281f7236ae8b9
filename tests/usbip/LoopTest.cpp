#include "ServingLoop.h"

#include "ProcessFacts.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;
using pdasim::Channel;
using pdasim::FileDescriptor;
using pdasim::ServingLoop;

/// Counts what comes.
class Counter : public Channel {
public:
    explicit Counter(FileDescriptor socket) : m_socket(std::move(socket)) {}
    int descriptor() const override { return m_socket.get(); }
    short events() const override { return POLLIN; }
    bool handle(short /*events*/) override {
        std::array<char, 8> bytes{};
        const ssize_t got = ::recv(m_socket.get(), bytes.data(), 1, MSG_DONTWAIT);
        count += got > 0 ? 1 : 0;
        return got > 0;
    }
    int count = 0;

private:
    FileDescriptor m_socket;
};

std::pair<FileDescriptor, FileDescriptor> socketPair() {
    std::array<int, 2> ends{};
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

TEST(Loop, SettlesOnceAllThatHasComeIsDealtWith) {
    ServingLoop loop;
    auto [mine, its] = socketPair();
    const auto counter = std::make_shared<Counter>(std::move(its));
    {
        const std::lock_guard lock(loop.mutex());
        loop.add(counter);
    }
    ASSERT_EQ(::send(mine.get(), "abcdef", 6, 0), 6);
    loop.settle();
    const std::lock_guard lock(loop.mutex());
    EXPECT_EQ(counter->count, 6);
}

TEST(Loop, ForgetsAChannelAtItsEnd) {
    ServingLoop loop;
    auto [mine, its] = socketPair();
    std::weak_ptr<Counter> counter;
    {
        const std::lock_guard lock(loop.mutex());
        auto channel = std::make_shared<Counter>(std::move(its));
        counter = channel;
        loop.add(std::move(channel));
    }
    loop.settle();
    EXPECT_FALSE(counter.expired());
    mine.reset();
    EXPECT_TRUE(pdalink::test::waitUntil([&counter] { return counter.expired(); }));
}

TEST(Loop, DoesThingsLaterInTheirOrderUnlessTheyAreCancelled) {
    ServingLoop loop;
    std::vector<int> done;
    const int owner = 0;
    const int other = 0;
    {
        const std::lock_guard lock(loop.mutex());
        const auto now = ServingLoop::Clock::now();
        loop.schedule(&owner, now + 20ms, [&done] { done.push_back(3); });
        loop.schedule(&owner, now, [&done] { done.push_back(1); });
        loop.schedule(&owner, now, [&done] { done.push_back(2); });
        loop.schedule(&other, now + 10ms, [&done] { done.push_back(9); });
        loop.cancel(&other);
    }
    const auto isDone = [&loop, &done] {
        const std::lock_guard lock(loop.mutex());
        return done.size() == 3;
    };
    EXPECT_TRUE(pdalink::test::waitUntil(isDone));
    const std::lock_guard lock(loop.mutex());
    EXPECT_EQ(done, (std::vector<int>{1, 2, 3}));
}

TEST(Loop, GoesOnWhenSomethingCannotBeDone) {
    ServingLoop loop;
    testing::internal::CaptureStderr();
    bool done = false;
    {
        const std::lock_guard lock(loop.mutex());
        const auto now = ServingLoop::Clock::now();
        loop.schedule(&done, now, [] { throw std::runtime_error("the plug does not fit"); });
        loop.schedule(&done, now + 1ms, [&done] { done = true; });
    }
    EXPECT_TRUE(pdalink::test::waitUntil([&] {
        const std::lock_guard lock(loop.mutex());
        return done;
    }));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "pdasim: the plug does not fit\n");
}

TEST(Loop, CostsNothingWhileNothingHappens) {
    ServingLoop loop;
    loop.settle();
    const auto before = pdalink::test::processCpuTime();
    ::usleep(200000);
    EXPECT_LT(pdalink::test::processCpuTime() - before, 20ms);
}

} // namespace
