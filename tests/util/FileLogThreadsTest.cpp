#include "tests/util/LogFixture.h"

#include <atomic>
#include <map>
#include <thread>

namespace {

constexpr int kWriters = 3;

class LogAmongThreads : public LogTest {
protected:
    /// Every writer writes its lines "<writer>:<number>:xxx...", each of about `length` bytes.
    void writeLines(int linesEach, std::size_t length) {
        std::vector<std::thread> writers;
        for (int writer = 0; writer < kWriters; ++writer) {
            writers.emplace_back([this, writer, linesEach, length] { writeAs(writer, linesEach, length); });
        }
        for (std::thread& writer : writers) {
            writer.join();
        }
    }

    int refusedLines() const { return m_refused; }

    /// Checks that no line is torn, that each writer's lines are there in its order and none is missing.
    static void expectComplete(const std::vector<std::string>& all, int linesEach, std::size_t length) {
        std::map<std::string, int> next;
        for (const std::string& line : all) {
            const std::string text = withoutStamp(line);
            const std::string writer = text.substr(0, text.find(':', kInfoLength));
            ASSERT_EQ(text, writer + numbered(next[writer]++, length)) << "torn, missing or out of order";
        }
        EXPECT_EQ(next.size(), static_cast<std::size_t>(kWriters));
        for (const auto& [writer, count] : next) {
            EXPECT_EQ(count, linesEach) << writer;
        }
    }

    /// What stands behind the writer in a line.
    static std::string numbered(int number, std::size_t length) {
        return ":" + std::to_string(number) + ":" + std::string(length, 'x') + "!";
    }

    void writeAs(int writer, int linesEach, std::size_t length) {
        for (int number = 0; number < linesEach; ++number) {
            const std::string text = std::to_string(writer) + numbered(number, length);
            const bool written =
                number % 2 == 0 ? add(text) : log().AddLogEx(pdalink::Info, "%s", text.c_str());
            m_refused += written ? 0 : 1;
        }
    }

private:
    std::atomic<int> m_refused{0};
};

TEST_F(LogAmongThreads, KeepsLinesWholeWhileRotating) {
    constexpr int linesEach = 700;
    constexpr std::size_t length = 1000;
    ASSERT_TRUE(open(file()));
    writeLines(linesEach, length);
    EXPECT_EQ(refusedLines(), 0);
    ASSERT_TRUE(exists(file("PDA.log.4")));  // it did rotate
    ASSERT_FALSE(exists(file("PDA.log.5"))); // and dropped nothing
    std::vector<std::string> all;
    for (const char* name : {"PDA.log.4", "PDA.log.3", "PDA.log.2", "PDA.log.1", "PDA.log"}) {
        const std::vector<std::string> some = lines(name);
        all.insert(all.end(), some.begin(), some.end());
    }
    expectComplete(all, linesEach, length);
}

TEST_F(LogAmongThreads, LosesNoLineWhileItIsOpenedAgain) {
    constexpr int linesEach = 600;
    constexpr std::size_t length = 100;
    ASSERT_TRUE(open(file()));
    std::atomic<bool> done{false};
    int openings = 0;
    std::thread opener([&] {
        while (!done) {
            EXPECT_TRUE(open(file()));
            ++openings;
        }
    });
    writeLines(linesEach, length);
    done = true;
    opener.join();
    EXPECT_GT(openings, 10);
    EXPECT_EQ(refusedLines(), 0);
    expectComplete(lines(), linesEach, length);
}

TEST_F(LogAmongThreads, LosesNoLineWhileItMovesBetweenFiles) {
    constexpr int linesEach = 600;
    constexpr std::size_t length = 100;
    ASSERT_TRUE(open(file("a.log")));
    std::atomic<bool> done{false};
    std::thread opener([&] {
        while (!done) {
            EXPECT_TRUE(open(file("b.log")));
            EXPECT_TRUE(open(file("a.log")));
        }
    });
    writeLines(linesEach, length);
    done = true;
    opener.join();
    EXPECT_EQ(refusedLines(), 0);
    EXPECT_EQ(lines("a.log").size() + lines("b.log").size(), static_cast<std::size_t>(kWriters * linesEach));
    for (const char* name : {"a.log", "b.log"}) {
        for (const std::string& line : lines(name)) {
            ASSERT_EQ(line.size(), line.find('!') + 1) << "torn: " << line;
        }
    }
}

TEST_F(LogAmongThreads, RefusesLinesOnlyWhileItIsClosed) {
    constexpr int linesEach = 600;
    ASSERT_TRUE(open(file()));
    std::atomic<bool> done{false};
    std::thread closer([&] {
        while (!done) {
            log().Close();
            EXPECT_TRUE(open(file()));
        }
    });
    writeLines(linesEach, 100);
    done = true;
    closer.join();
    EXPECT_EQ(static_cast<int>(lines().size()) + refusedLines(), kWriters * linesEach);
}

TEST_F(LogAmongThreads, KeepsLinesWholeWhileItsCopiesAreShiftedByHand) {
    constexpr int linesEach = 300;
    ASSERT_TRUE(open(file()));
    std::atomic<bool> done{false};
    std::thread shifter([&] {
        while (!done) {
            log().Backup(5);
            EXPECT_TRUE(open(file()));
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    writeLines(linesEach, 100);
    done = true;
    shifter.join();
    EXPECT_EQ(refusedLines(), 0);
    for (const std::string& line : lines()) {
        ASSERT_EQ(line.size(), line.find('!') + 1) << "torn: " << line;
    }
}

} // namespace
