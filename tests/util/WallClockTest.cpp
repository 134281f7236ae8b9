// Runs on a wall clock of its own: the program's own readings of the time of day come before the C library's.

#include "tests/util/Files.h"
#include "util/FileLog.h"
#include "util/Util.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

constexpr long kMicrosecondsPerSecond = 1000000;
constexpr long long kDay = 86400LL * kMicrosecondsPerSecond;
constexpr long long kJanuarySecond = 1767323045LL * kMicrosecondsPerSecond; // 2026-01-02 03:04:05 UTC

enum class Mode { Real, Frozen, Jumping };
std::atomic<Mode> clockMode{Mode::Real};
std::atomic<long long> frozenAt{0};
std::atomic<unsigned> readings{0};

long long realMicroseconds() {
    timespec now{};
    syscall(SYS_clock_gettime, CLOCK_REALTIME, &now);
    return now.tv_sec * kMicrosecondsPerSecond + now.tv_nsec / 1000;
}

/// The time of day: the real one, one that stands still, or one that is set a day back and forth.
long long wallMicroseconds() {
    const unsigned reading = ++readings;
    switch (clockMode) {
    case Mode::Frozen:
        return frozenAt;
    case Mode::Jumping:
        return realMicroseconds() + (reading % 2 == 0 ? kDay : -kDay);
    default:
        return realMicroseconds();
    }
}

void freezeClock(long long microseconds) {
    frozenAt = microseconds;
    clockMode = Mode::Frozen;
}

} // namespace

// Exported, so that Qt and the C++ library read this clock too.
#pragma GCC visibility push(default)
extern "C" {

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the system's names are reserved
int clock_gettime(clockid_t clock, timespec* time) noexcept {
    if (clock != CLOCK_REALTIME && clock != CLOCK_REALTIME_COARSE) {
        return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    }
    const long long now = wallMicroseconds();
    time->tv_sec = now / kMicrosecondsPerSecond;
    time->tv_nsec = now % kMicrosecondsPerSecond * 1000;
    return 0;
}

int gettimeofday(timeval* time, void* /*zone*/) noexcept {
    const long long now = wallMicroseconds();
    time->tv_sec = now / kMicrosecondsPerSecond;
    time->tv_usec = now % kMicrosecondsPerSecond;
    return 0;
}

time_t time(time_t* result) noexcept {
    const time_t now = wallMicroseconds() / kMicrosecondsPerSecond;
    if (result != nullptr) {
        *result = now;
    }
    return now;
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
}
#pragma GCC visibility pop

namespace {

class WallClock : public testing::Test {
protected:
    void SetUp() override { setZone("UTC"); }
    void TearDown() override { clockMode = Mode::Real; }

    static void setZone(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }

    std::string lineAt(long long microseconds) {
        const std::string path = m_directory.file("PDA.log");
        CFileLog log;
        EXPECT_TRUE(log.Open(path.c_str()));
        freezeClock(microseconds);
        EXPECT_TRUE(log.AddLog(pdalink::Info, "text"));
        clockMode = Mode::Real;
        log.Close();
        std::string line = readFile(path);
        std::remove(path.c_str());
        return line;
    }

private:
    TemporaryDirectory m_directory;
};

TEST_F(WallClock, StampsALineWithThreeDigitsOfMillisecondsDirectlyAfterTheSeconds) {
    EXPECT_EQ(lineAt(kJanuarySecond + 678000), "2026-01-02 03:04:05678 INFO     : text\n");
    EXPECT_EQ(lineAt(kJanuarySecond + 7999), "2026-01-02 03:04:05007 INFO     : text\n");
    EXPECT_EQ(lineAt(kJanuarySecond + 42000), "2026-01-02 03:04:05042 INFO     : text\n");
    EXPECT_EQ(lineAt(kJanuarySecond), "2026-01-02 03:04:05000 INFO     : text\n");
    EXPECT_EQ(lineAt(kJanuarySecond + 999999), "2026-01-02 03:04:05999 INFO     : text\n");
}

TEST_F(WallClock, StampsTheLocalTime) {
    setZone("EAST-5:30");
    EXPECT_EQ(lineAt(kJanuarySecond), "2026-01-02 08:34:05000 INFO     : text\n");
    setZone("WEST4");
    EXPECT_EQ(lineAt(kJanuarySecond), "2026-01-01 23:04:05000 INFO     : text\n");
}

TEST_F(WallClock, GivesMessagesTheLocalTime) {
    freezeClock(kJanuarySecond + 999999);
    EXPECT_EQ(CUtil::getCurrentTimes(), "20260102030405");
    setZone("EAST-5:30");
    EXPECT_EQ(CUtil::getCurrentTimes(), "20260102083405");
    freezeClock(kJanuarySecond + 10 * 3600LL * kMicrosecondsPerSecond);
    EXPECT_EQ(CUtil::getCurrentTimes(), "20260102183405"); // 24 hours, no AM or PM
}

using Clock = std::chrono::steady_clock;

TEST_F(WallClock, NeitherShortensNorProlongsAWaitWhenItStandsStillOrIsSet) {
    for (const Mode mode : {Mode::Frozen, Mode::Jumping}) {
        frozenAt = kJanuarySecond / kDay * kDay + kDay - 5000; // just before midnight
        clockMode = mode;
        // Several tries: a busy machine prolongs waits too.
        auto shortest = Clock::duration::max();
        for (int i = 0; i < 200 && shortest > std::chrono::milliseconds(40); ++i) {
            const auto begin = Clock::now();
            CUtil::Delay_MSec(30);
            const auto waited = Clock::now() - begin;
            EXPECT_GE(waited, std::chrono::milliseconds(30));
            shortest = std::min(shortest, waited);
        }
        EXPECT_LE(shortest, std::chrono::milliseconds(40));
    }
}

TEST_F(WallClock, IsReadByTheLibrary) {
    clockMode = Mode::Real;
    const unsigned before = readings;
    CUtil::getCurrentTimes();
    EXPECT_NE(readings, before) << "the other tests would prove nothing";
}

} // namespace
