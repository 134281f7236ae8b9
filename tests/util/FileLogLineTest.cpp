#include "tests/support/FullDisk.h"
#include "tests/support/OneLine.h"
#include "tests/util/LogFixture.h"

#include <gmock/gmock.h>

#include <climits>
#include <csignal>

namespace {

class LogLine : public LogTest {
protected:
    void SetUp() override { ASSERT_TRUE(open(file())); }
};

TEST_F(LogLine, IsStampLevelAndTextAsItIsAtOnce) {
    for (const char* text : {"100", "", "one\ntwo\r\n", "%s %n %d 100%", "\xFF\x01\x7F 张"}) {
        const std::size_t before = content().size();
        ASSERT_TRUE(add(text));
        const std::string line = content().substr(before);
        EXPECT_TRUE(hasShape(line.substr(0, kStampLength), "dddd-dd-dd dd:dd:ddddd ")) << line;
        EXPECT_EQ(line.substr(kStampLength), std::string("INFO     : ") + text + "\n");
    }
    ASSERT_TRUE(log().AddLog(pdalink::Info, nullptr));
    EXPECT_EQ(withoutStamp(lines().back()), "INFO     : ");
}

TEST_F(LogLine, NamesTheLevel) {
    const std::pair<long, std::string> words[] = {
        {1, "MESSAGE  : "},
        {2, "ERROR  : "},
        {3, "WARNING  : "},
        {4, "INFO     : "},
        {0, "INFO     : "},
        {-1, "INFO     : "},
        {5, "INFO     : "},
        {LONG_MAX, "INFO     : "},
        {LONG_MIN, "INFO     : "},
        {1L << 32, "INFO     : "},
        {(1L << 32) + 1, "INFO     : "},
    };
    for (const auto& [level, word] : words) {
        ASSERT_TRUE(add("text", level));
        EXPECT_EQ(withoutStamp(lines().back()), word + "text") << level;
    }
}

TEST_F(LogLine, MayHaveMegabytes) {
    const std::string text(5UL * 1024 * 1024, 'x');
    ASSERT_TRUE(add(text));
    const std::vector<std::string> rotated = lines("PDA.log.1");
    ASSERT_EQ(rotated.size(), 1U);
    EXPECT_EQ(withoutStamp(rotated[0]), "INFO     : " + text);
}

TEST_F(LogLine, IsFormattedAsPrintfDoes) {
    const std::string longest = std::string(102398, 'x') + "!";
    ASSERT_TRUE(log().AddLogEx(pdalink::Message, "%s|%04d|%x|%5.1f|%%|%c", "text", 7, 255U, 1.25, 'c'));
    ASSERT_TRUE(log().AddLogEx(pdalink::Info, "a%cb", '\0')); // ends at a NUL of its own
    ASSERT_TRUE(log().AddLogEx(pdalink::Info, "%s", longest.c_str()));
    const std::vector<std::string> all = lines();
    ASSERT_EQ(all.size(), 3U);
    EXPECT_EQ(withoutStamp(all[0]), "MESSAGE  : text|0007|ff|  1.2|%|c");
    EXPECT_EQ(withoutStamp(all[1]), "INFO     : a");
    EXPECT_EQ(withoutStamp(all[2]), "INFO     : " + longest);
}

TEST_F(LogLine, FormattedBeyond102399CharactersEndsTheProcess) {
    const std::string text(102400, 'x');
    EXPECT_EXIT(log().AddLogEx(pdalink::Info, "%s", text.c_str()), testing::KilledBySignal(SIGABRT),
                pdalink::test::isOneLine());
    EXPECT_EXIT(log().AddLogEx(pdalink::Info, "%0200000d", 1), testing::KilledBySignal(SIGABRT),
                pdalink::test::isOneLine());
    EXPECT_EQ(content(), "");
    log().Close(); // nor does it need a file
    EXPECT_EXIT(log().AddLogEx(pdalink::Info, "%s", text.c_str()), testing::KilledBySignal(SIGABRT),
                pdalink::test::isOneLine());
}

TEST_F(LogLine, FitsAgainOnceTheDiskHasRoom) {
    ASSERT_TRUE(add("first"));
    {
        const FullDisk full(static_cast<rlim_t>(fileSize(file())));
        for (int i = 0; i < 200; ++i) {
            ASSERT_FALSE(add("lost " + std::string(i % 2 == 0 ? 95 : 100000, 'x')));
        }
        EXPECT_FALSE(log().AddLogEx(pdalink::Info, "%s", "lost"));
    }
    ASSERT_TRUE(add("last"));
    // What was reported as lost must not turn up as a torn piece in front of a later line.
    for (const std::string& line : lines()) {
        EXPECT_FALSE(withoutStamp(line).empty()) << line;
        EXPECT_EQ(line.find("INFO"), line.rfind("INFO")) << line;
    }
    EXPECT_EQ(withoutStamp(lines().front()), "INFO     : first");
    EXPECT_EQ(withoutStamp(lines().back()), "INFO     : last");
}

/// Lines of which only a part went into the file.
class TornLogLine : public LogLine {
protected:
    static constexpr long long kPart = 60;

    /// Writes a line, and a part of one that has `length` characters.
    void tear(std::size_t length = 200) {
        ASSERT_TRUE(add("first"));
        const FullDisk full(static_cast<rlim_t>(fileSize(file()) + kPart));
        EXPECT_FALSE(add(std::string(length, 'x')));
    }

    /// Checks that the part is on a line of its own, in front of the last one.
    void expectPartBefore(const std::string& last) const {
        const std::vector<std::string> all = lines();
        ASSERT_EQ(all.size(), 3U);
        EXPECT_EQ(withoutStamp(all[0]), "INFO     : first");
        EXPECT_EQ(static_cast<long long>(all[1].size()), kPart);
        EXPECT_EQ(withoutStamp(all[2]), "INFO     : " + last);
    }
};

TEST_F(TornLogLine, IsEndedBeforeTheNextOneHoweverLongItWas) {
    for (const std::size_t length : {200U, 1000000U}) {
        tear(length);
        ASSERT_TRUE(add("last"));
        expectPartBefore("last");
        log().Close();
        std::filesystem::remove(file());
        ASSERT_TRUE(open(file()));
    }
}

TEST_F(TornLogLine, IsEndedBeforeTheFirstOneOfAnotherProcess) {
    tear();
    CFileLog others;
    ASSERT_TRUE(others.Open(file().c_str()));
    ASSERT_TRUE(others.AddLog(pdalink::Info, "last"));
    expectPartBefore("last");
}

TEST_F(TornLogLine, IsEndedOnceHoweverOftenTheDiskIsFull) {
    tear();
    {
        const FullDisk full(static_cast<rlim_t>(fileSize(file())));
        EXPECT_FALSE(add("lost"));
        EXPECT_FALSE(add("lost"));
        EXPECT_TRUE(open(file()));
        EXPECT_FALSE(add("lost"));
    }
    ASSERT_TRUE(add("last"));
    expectPartBefore("last");
}

TEST_F(TornLogLine, LeavesNoEmptyLineWhenOnlyItsEndCouldBeWritten) {
    tear();
    {
        const FullDisk full(static_cast<rlim_t>(fileSize(file()) + 1));
        EXPECT_FALSE(add("lost"));
    }
    ASSERT_TRUE(add("last"));
    expectPartBefore("last");
}

} // namespace
