#include "util/Util.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <optional>
#include <sys/resource.h>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

Clock::duration timeOf(unsigned int wait) {
    const auto begin = Clock::now();
    CUtil::Delay_MSec(wait);
    return Clock::now() - begin;
}

/// True when one of many tries succeeds: a busy machine prolongs waits, but not every one of them.
template <typename Attempt>
bool succeedsOnce(const Attempt& attempt) {
    const auto deadline = Clock::now() + std::chrono::seconds(40);
    while (!attempt()) {
        if (Clock::now() > deadline) {
            return false;
        }
    }
    return true;
}

/// True when the wait takes less than 5 ms more than asked.
bool isPunctual(unsigned int wait) {
    return succeedsOnce([wait] { return timeOf(wait) < milliseconds(wait + 5); });
}

milliseconds processorTimeOf(unsigned int wait) {
    const auto read = [] {
        timespec used{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
        return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
    };
    const auto before = read();
    CUtil::Delay_MSec(wait);
    return std::chrono::duration_cast<milliseconds>(read() - before);
}

/// Every test runs once without and once with an application object, as hosts do.
class Waiting : public testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        if (GetParam()) {
            m_application.emplace(m_argumentCount, m_arguments);
        }
    }

private:
    int m_argumentCount = 1;
    char m_name[5] = "host";
    char* m_arguments[2] = {m_name, nullptr};
    std::optional<QCoreApplication> m_application;
};

TEST_P(Waiting, IsNeverShorterThanAsked) {
    for (unsigned int wait = 1; wait <= 31; ++wait) {
        EXPECT_GE(timeOf(wait), milliseconds(wait));
    }
    EXPECT_GE(timeOf(150), milliseconds(150)); // more than one round of event processing
}

TEST_P(Waiting, EndsSoonAfterTheTimeAsked) {
    for (const unsigned int wait : {0U, 10U, 35U}) {
        EXPECT_TRUE(isPunctual(wait)) << wait;
    }
}

TEST_P(Waiting, CostsLessThanOnePercentOfACore) {
    EXPECT_TRUE(succeedsOnce([] { return processorTimeOf(2000) < milliseconds(20); }));
}

INSTANTIATE_TEST_SUITE_P(Host, Waiting, testing::Bool(), [](const testing::TestParamInfo<bool>& info) {
    return info.param ? "WithApplication" : "WithoutApplication";
});

TEST(WaitingWithoutADispatcher, SleepsInOnePiece) {
    const auto sleeps = [] {
        rusage used{};
        getrusage(RUSAGE_THREAD, &used);
        return used.ru_nvcsw;
    };
    const long before = sleeps();
    CUtil::Delay_MSec(300);
    EXPECT_LE(sleeps() - before, 5);
}

/// Waits with events coming in.
class WaitingAmongEvents : public testing::Test {
private:
    int m_argumentCount = 1;
    char m_name[5] = "host";
    char* m_arguments[2] = {m_name, nullptr};
    QCoreApplication m_application{m_argumentCount, m_arguments};
};

/// The longest time between the ticks of a repeating timer during a wait, its beginning and its end counted
/// in.
milliseconds longestGapDuring(unsigned int wait, int interval) {
    auto last = Clock::now();
    Clock::duration longest{};
    const auto tick = [&] {
        const auto now = Clock::now();
        longest = std::max(longest, now - last);
        last = now;
    };
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, tick);
    timer.start(interval);
    CUtil::Delay_MSec(wait);
    tick();
    return std::chrono::duration_cast<milliseconds>(longest);
}

TEST_F(WaitingAmongEvents, HandlesEventsAtLeastEveryTenMilliseconds) {
    // Less than one turn of 10 ms more, which is what leaving one out would cost.
    EXPECT_TRUE(succeedsOnce([] { return longestGapDuring(60, 0) < milliseconds(10 + 10); }));
    EXPECT_TRUE(succeedsOnce([] { return longestGapDuring(60, 5) < milliseconds(5 + 10 + 10); }));
}

TEST_F(WaitingAmongEvents, IsNeitherShortenedNorProlongedByEvents) {
    for (const int interval : {0, 1}) {
        QTimer timer;
        timer.start(interval);
        EXPECT_GE(timeOf(30), milliseconds(30));
        EXPECT_TRUE(isPunctual(30));
    }
}

TEST_F(WaitingAmongEvents, WorksOnAThreadWithoutAnEventLoop) {
    Clock::duration waited{};
    std::thread thread([&waited] { waited = timeOf(30); });
    thread.join();
    EXPECT_GE(waited, milliseconds(30));
}

} // namespace
