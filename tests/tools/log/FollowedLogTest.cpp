#include "RotatedLog.h"

#include "log/FollowedLog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

namespace pdactl::log::test {

namespace {

/// What comes in some looks: stepping on to the next file brings no bytes itself. A gap is a "|".
std::string settled(FollowedLog& followed) {
    std::string text;
    constexpr int kLooks = 20;
    for (int i = 0; i < kLooks; ++i) {
        const Growth growth = followed.grow();
        text += (growth.hasGap ? "|" : "") + growth.bytes;
    }
    return text;
}

/// Rotates this often and writes a number each time.
void rotate(const RotatedLog& log, int times) {
    for (int rotation = 1; rotation <= times; ++rotation) {
        log.rotate();
        log.append(std::to_string(rotation));
    }
}

TEST(FollowedLog, BeginsWithTheOldestCopyOrAtTheEnd) {
    const RotatedLog log("oldest");
    FollowedLog early(log.base());
    EXPECT_EQ(settled(early), "") << "there is none yet";
    log.append("0");
    EXPECT_EQ(settled(early), "0");
    rotate(log, 2);
    FollowedLog followed(log.base());
    FollowedLog fromEnd(log.base(), FollowedLog::From::End);
    EXPECT_EQ(settled(followed), "012");
    log.append("3");
    EXPECT_EQ(settled(followed), "3");
    EXPECT_EQ(settled(fromEnd), "3");
}

TEST(FollowedLog, LosesNothingOverFiveRotations) {
    const RotatedLog log("rotations");
    log.append("a");
    FollowedLog followed(log.base());
    EXPECT_EQ(settled(followed), "a");
    log.append("b");
    log.rotate();
    EXPECT_EQ(settled(followed), "b");
    log.append("c");
    EXPECT_EQ(settled(followed), "c");
    log.append("d");
    rotate(log, 5);
    EXPECT_EQ(settled(followed), "d12345");
}

TEST(FollowedLog, TellsWhenSomethingIsLost) {
    const RotatedLog log("lost");
    log.append("long text");
    FollowedLog followed(log.base());
    EXPECT_EQ(settled(followed), "long text");
    rotate(log, 7);
    EXPECT_EQ(settled(followed), "|234567");
    log.append("more text");
    EXPECT_EQ(settled(followed), "more text");
    std::filesystem::resize_file(log.base(), 0);
    log.append("new");
    EXPECT_EQ(settled(followed), "|new");
}

TEST(FollowedLog, KeepsUpWithAWriterThatRotates) {
    const RotatedLog log("writer");
    constexpr int lines = 4000;
    constexpr int kLinesPerFile = 40;
    constexpr int kMaxAhead = 3 * kLinesPerFile; // a reader may miss no more than five rotations
    std::atomic<int> seen{0};
    std::thread writer([&] {
        for (int line = 0; line < lines; ++line) {
            while (line - seen > kMaxAhead) {
                std::this_thread::yield();
            }
            log.append(std::to_string(line) + "\n");
            if (line % kLinesPerFile == kLinesPerFile - 1) {
                log.rotate();
            }
        }
    });
    FollowedLog followed(log.base());
    std::string text;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (seen < lines && std::chrono::steady_clock::now() < end) {
        const Growth growth = followed.grow();
        EXPECT_FALSE(growth.hasGap);
        seen += static_cast<int>(std::count(growth.bytes.begin(), growth.bytes.end(), '\n'));
        text += growth.bytes;
    }
    seen = lines;
    writer.join();
    std::string expected;
    for (int line = 0; line < lines; ++line) {
        expected += std::to_string(line) + "\n";
    }
    EXPECT_EQ(text, expected);
}

} // namespace

} // namespace pdactl::log::test
