#include "tests/support/BlockedThread.h"
#include "tests/util/LogFixture.h"

#include <array>
#include <atomic>
#include <chrono>
#include <fcntl.h>
#include <functional>
#include <map>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr int kWriters = 3;

class LogAmongThreads : public LogTest {
protected:
    /// Every writer writes its lines "<writer>:<number>:xxx...", each of about `length` bytes.
    void writeLines(int linesEach, std::size_t length) {
        std::vector<std::thread> writers;
        writers.reserve(kWriters);
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

    /// What follows the writer in a line.
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

/// A log whose descriptor leads into a pipe, which is too short for a line as long as nobody reads it.
class LogWhileALineIsWritten : public LogTest {
protected:
    void SetUp() override {
        std::array<int, 2> pipe{};
        ASSERT_EQ(::pipe2(pipe.data(), O_CLOEXEC), 0);
        m_reader = pipe[0];
        ASSERT_EQ(::fcntl(m_reader, F_SETFL, O_NONBLOCK), 0);
        const int next = ::dup(m_reader); // the next number is the log's
        ::close(next);
        ASSERT_TRUE(open(file()));
        ASSERT_EQ(::dup2(pipe[1], next), next);
        ::close(pipe[1]);
    }
    ~LogWhileALineIsWritten() override { ::close(m_reader); }

    /// Runs the action while another thread is in the middle of a line, then reads that line. True when the
    /// action waited for the line's end.
    bool waitsForTheLine(const std::function<void()>& action) {
        std::atomic<bool> lineEnded{false};
        std::thread writer([this, &lineEnded] {
            add(std::string(1000000, 'x'));
            lineEnded = true;
        });
        while (!readSome()) { // until the line has begun
        }
        pdalink::test::BlockedCall other(action);
        const bool waits = other.isBlockedOn(log());
        while (!lineEnded) {
            readSome();
        }
        writer.join();
        return waits;
    }

private:
    /// False, a moment later, when there is nothing to read.
    bool readSome() const {
        std::array<char, 4096> bytes{};
        const bool read = ::read(m_reader, bytes.data(), bytes.size()) > 0;
        std::this_thread::sleep_for(std::chrono::milliseconds(read ? 0 : 1));
        return read;
    }

    int m_reader = -1;
};

TEST_F(LogWhileALineIsWritten, IsNotClosed) {
    EXPECT_TRUE(waitsForTheLine([this] { log().Close(); }));
    EXPECT_FALSE(add("lost"));
}

TEST_F(LogWhileALineIsWritten, IsNotOpenedAnew) {
    EXPECT_TRUE(waitsForTheLine([this] { open(file("other.log")); }));
    EXPECT_TRUE(exists(file("other.log")));
}

TEST_F(LogWhileALineIsWritten, DoesNotHaveItsCopiesShifted) {
    EXPECT_TRUE(waitsForTheLine([this] { log().Backup(1); }));
    EXPECT_TRUE(exists(file("PDA.log.1")));
    EXPECT_FALSE(exists(file()));
}

} // namespace
