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

/// Everything that is there by now.
std::string all(FollowedLog& followed, bool& hasGap) {
    std::string text;
    for (Growth growth = followed.grow(); !growth.bytes.empty() || growth.hasGap; growth = followed.grow()) {
        text += growth.bytes;
        hasGap = hasGap || growth.hasGap;
    }
    return text;
}

std::string all(FollowedLog& followed) {
    bool hasGap = false;
    std::string text = all(followed, hasGap);
    for (std::string more = all(followed, hasGap); !more.empty(); more = all(followed, hasGap)) {
        text += more;
    }
    EXPECT_FALSE(hasGap);
    return text;
}

/// Looks until nothing has come for some looks: stepping on to the next file brings no bytes itself.
std::string settled(FollowedLog& followed) {
    std::string text;
    constexpr int kLooks = 10;
    for (int i = 0; i < kLooks; ++i) {
        text += all(followed);
    }
    return text;
}

TEST(FollowedLog, BeginsWithTheOldestCopy) {
    const RotatedLog log("oldest");
    log.append("1");
    log.rotate();
    log.append("2");
    log.rotate();
    log.append("3");
    FollowedLog followed(log.base());
    EXPECT_EQ(settled(followed), "123");
    EXPECT_EQ(settled(followed), "");
}

TEST(FollowedLog, WaitsForALogThatIsNotThereYet) {
    const RotatedLog log("later");
    FollowedLog followed(log.base());
    EXPECT_EQ(settled(followed), "");
    log.append("1");
    EXPECT_EQ(settled(followed), "1");
}

TEST(FollowedLog, LosesNothingOverRotations) {
    const RotatedLog log("rotations");
    log.append("1");
    FollowedLog followed(log.base());
    EXPECT_EQ(settled(followed), "1");
    log.append("2");
    log.rotate();
    EXPECT_EQ(settled(followed), "2");
    log.append("3");
    EXPECT_EQ(settled(followed), "3");
    log.append("4");
    for (int rotation = 0; rotation < 5; ++rotation) {
        log.rotate();
        log.append(std::to_string(rotation + 5));
    }
    EXPECT_EQ(settled(followed), "456789");
}

TEST(FollowedLog, TellsWhenSomethingIsLost) {
    const RotatedLog log("lost");
    log.append("1");
    FollowedLog followed(log.base());
    EXPECT_EQ(settled(followed), "1");
    for (int rotation = 0; rotation < 7; ++rotation) {
        log.rotate();
        log.append(std::to_string(rotation));
    }
    bool hasGap = false;
    std::string text;
    for (int i = 0; i < 10; ++i) {
        text += all(followed, hasGap);
    }
    EXPECT_TRUE(hasGap);
    EXPECT_EQ(text, "123456");
}

TEST(FollowedLog, BeginsAgainWhenTheLogIsEmptied) {
    const RotatedLog log("emptied");
    log.append("long text");
    FollowedLog followed(log.base());
    EXPECT_EQ(settled(followed), "long text");
    std::filesystem::resize_file(log.base(), 0);
    log.append("new");
    bool hasGap = false;
    std::string text = all(followed, hasGap);
    text += all(followed, hasGap);
    EXPECT_TRUE(hasGap);
    EXPECT_EQ(text, "new");
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
