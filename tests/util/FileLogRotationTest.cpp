#include "tests/util/LogFixture.h"

#include <unistd.h>

namespace {

/// What a line has besides its text.
constexpr long long kOverhead = kStampLength + kInfoLength + 1;

class LogRotation : public LogTest {
protected:
    std::string copyName(int number) const { return "PDA.log." + std::to_string(number); }

    /// Writes a line after which the file has exactly `size` bytes.
    bool growTo(long long size) {
        return add(std::string(static_cast<std::size_t>(size - fileSize(file()) - kOverhead), 'x'));
    }

    /// Puts directories in the copies' place, which can be neither removed nor replaced.
    void blockCopies() const {
        for (int number = 1; number <= 5; ++number) {
            block(file(copyName(number)));
            writeFile(file(copyName(number)) + "/content", "x");
        }
    }

    /// The copies' contents are their numbers, so that a shift can be seen.
    void writeCopies(int from, int to) const {
        for (int number = from; number <= to; ++number) {
            writeFile(file(copyName(number)), std::to_string(number));
        }
    }
};

TEST_F(LogRotation, HappensOneByteBeyond512000WithTheLineThatPassesThem) {
    ASSERT_TRUE(open(file()));
    ASSERT_TRUE(growTo(kSizeLimit));
    EXPECT_EQ(fileSize(file()), kSizeLimit);
    EXPECT_FALSE(exists(file(copyName(1))));
    ASSERT_TRUE(add("passes"));
    ASSERT_TRUE(add("starts anew"));
    EXPECT_EQ(withoutStamp(lines(copyName(1)).back()), "INFO     : passes");
    EXPECT_EQ(onlyText(), "INFO     : starts anew");
    ASSERT_TRUE(growTo(kSizeLimit + 1));
    EXPECT_EQ(fileSize(file(copyName(1))), kSizeLimit + 1);
    EXPECT_EQ(fileSize(file()), 0);
}

TEST_F(LogRotation, CountsWhatStoodInTheFileBefore) {
    writeFile(file(), std::string(static_cast<std::size_t>(kSizeLimit - kOverhead - 1), 'x') + "\n");
    ASSERT_TRUE(open(file()));
    ASSERT_TRUE(add(""));
    EXPECT_EQ(fileSize(file()), kSizeLimit);
    EXPECT_FALSE(exists(file(copyName(1))));
    ASSERT_TRUE(add(""));
    EXPECT_EQ(fileSize(file(copyName(1))), kSizeLimit + kOverhead);
    writeFile(file(), std::string(600000, 'x') + "\n");
    ASSERT_TRUE(open(file()));
    EXPECT_EQ(fileSize(file()), 600001); // opening alone does not rotate
}

TEST_F(LogRotation, SkipsMissingCopies) {
    writeCopies(3, 3);
    writeCopies(5, 5); // which none takes the place of
    ASSERT_TRUE(open(file()));
    ASSERT_TRUE(growTo(kSizeLimit + 1));
    EXPECT_EQ(fileSize(file(copyName(1))), kSizeLimit + 1);
    EXPECT_EQ(content(copyName(4)), "3");
    EXPECT_FALSE(exists(file(copyName(2))));
    EXPECT_FALSE(exists(file(copyName(3))));
    EXPECT_FALSE(exists(file(copyName(5))));
}

TEST_F(LogRotation, KeepsFiveCopiesHoweverOftenItHappens) {
    ASSERT_TRUE(open(file()));
    for (int round = 1; round <= 8; ++round) {
        ASSERT_TRUE(add("round " + std::to_string(round)));
        ASSERT_TRUE(growTo(kSizeLimit + 1));
    }
    for (int number = 1; number <= 5; ++number) {
        const std::string round = std::to_string(9 - number);
        EXPECT_EQ(withoutStamp(lines(copyName(number)).front()), "INFO     : round " + round);
    }
    EXPECT_FALSE(exists(file(copyName(6))));
}

TEST_F(LogRotation, WorksOnAFallbackName) {
    block(file());
    ASSERT_TRUE(open(file()));
    ASSERT_TRUE(add(std::string(kSizeLimit, 'x')));
    ASSERT_TRUE(add("starts anew"));
    EXPECT_GT(fileSize(file("PDA_T1.log.1")), kSizeLimit);
    EXPECT_EQ(onlyText("PDA_T1.log"), "INFO     : starts anew");
    EXPECT_FALSE(exists(file(copyName(1))));
}

TEST_F(LogRotation, FallsBackWhenTheNameCannotBeOpenedAgain) {
    // Meanwhile its name has become a directory's, which stays because no copy gives way.
    ASSERT_TRUE(open(file()));
    blockCopies();
    std::filesystem::remove(file());
    block(file());
    ASSERT_TRUE(add(std::string(kSizeLimit, 'x')));
    ASSERT_TRUE(add("starts anew"));
    EXPECT_EQ(onlyText("PDA_T1.log"), "INFO     : starts anew");
}

TEST_F(LogRotation, ThatCannotReopenLeavesTheLogClosed) {
    block(file("log"));
    ASSERT_TRUE(open(file("log/PDA.log")));
    ASSERT_TRUE(add("text"));
    std::filesystem::remove_all(file("log"));
    EXPECT_FALSE(add(std::string(kSizeLimit, 'x')));
    EXPECT_FALSE(add("lost"));
    block(file("log"));
    EXPECT_FALSE(add("still closed"));
    ASSERT_TRUE(open(file("log/PDA.log")));
    EXPECT_TRUE(add("open again"));
    EXPECT_EQ(onlyText("log/PDA.log"), "INFO     : open again");
}

TEST_F(LogRotation, GoesOnInAFileThatCannotBeRenamed) {
    ASSERT_TRUE(open(file()));
    blockCopies();
    ASSERT_TRUE(add(std::string(kSizeLimit, 'x')));
    ASSERT_TRUE(add("text"));
    EXPECT_EQ(withoutStamp(lines().back()), "INFO     : text");
}

TEST_F(LogRotation, ByHandShiftsAsManyCopiesAsAskedAndSkipsMissingFiles) {
    ASSERT_EQ(chdir(directory().c_str()), 0);
    writeFile(file(".1"), "1");
    log().Backup(5); // of no file
    ASSERT_EQ(chdir("/"), 0);
    EXPECT_EQ(content(".1"), "1");
    EXPECT_FALSE(exists(file(".2")));
    ASSERT_TRUE(open(file()));
    ASSERT_TRUE(add("live"));
    writeCopies(1, 5);
    log().Backup(3);
    EXPECT_FALSE(exists(file()));
    EXPECT_EQ(onlyText(copyName(1)), "INFO     : live");
    EXPECT_EQ(content(copyName(2)), "1");
    EXPECT_EQ(content(copyName(3)), "2");
    EXPECT_EQ(content(copyName(4)), "4");
    EXPECT_EQ(content(copyName(5)), "5");
    log().Backup(5);
    EXPECT_FALSE(exists(file(copyName(1))));
    EXPECT_EQ(content(copyName(5)), "4");
    ASSERT_TRUE(open(file()));
    ASSERT_TRUE(add("live"));
    log().Backup(1);
    EXPECT_EQ(onlyText(copyName(1)), "INFO     : live");
    EXPECT_EQ(onlyText(copyName(2)), "INFO     : live") << "shifted before";
}

} // namespace
