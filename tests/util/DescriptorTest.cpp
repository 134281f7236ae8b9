#include "util/Descriptor.h"
#include "tests/util/TemporaryDirectory.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

/// Closes some of the standard descriptors for a scope. Nothing may be expected in it: a failure is printed.
class ClosedStandard {
public:
    explicit ClosedStandard(unsigned int which) {
        for (int number = 0; number <= STDERR_FILENO; ++number) {
            if ((which >> static_cast<unsigned int>(number) & 1U) != 0) {
                m_saved[static_cast<std::size_t>(number)] = fcntl(number, F_DUPFD_CLOEXEC, 100);
            }
        }
        for (int number = 0; number <= STDERR_FILENO; ++number) {
            if (m_saved[static_cast<std::size_t>(number)] >= 0) {
                close(number);
            }
        }
    }
    ~ClosedStandard() {
        for (int number = 0; number <= STDERR_FILENO; ++number) {
            const int saved = m_saved[static_cast<std::size_t>(number)];
            if (saved >= 0) {
                dup2(saved, number);
                close(saved);
            }
        }
    }
    ClosedStandard(const ClosedStandard&) = delete;
    ClosedStandard& operator=(const ClosedStandard&) = delete;

private:
    std::array<int, 3> m_saved{-1, -1, -1};
};

constexpr unsigned int kEverySubset = 8;

/// Bit n: the standard descriptor n is open.
unsigned int openStandard() {
    unsigned int open = 0;
    for (int number = 0; number <= STDERR_FILENO; ++number) {
        open |= (fcntl(number, F_GETFD) != -1 ? 1U : 0U) << static_cast<unsigned int>(number);
    }
    return open;
}

TEST(OpeningAboveStandard, TakesNoStandardNumberWhicheverAreClosed) {
    const TemporaryDirectory directory;
    for (unsigned int closed = 0; closed < kEverySubset; ++closed) {
        int descriptor = -1;
        unsigned int openAfterwards = 0;
        {
            const ClosedStandard standard(closed);
            descriptor = pdalink::openAboveStandard(directory.file("file").c_str(), O_RDWR | O_CREAT, 0600);
            openAfterwards = openStandard();
        }
        EXPECT_GT(descriptor, STDERR_FILENO) << closed;
        EXPECT_EQ(openAfterwards, ~closed & (kEverySubset - 1)) << "closed ones stay closed";
        EXPECT_EQ(write(descriptor, "x", 1), 1) << closed;
        EXPECT_NE(static_cast<unsigned int>(fcntl(descriptor, F_GETFD)) & FD_CLOEXEC, 0U) << closed;
        close(descriptor);
    }
}

TEST(OpeningAboveStandard, TellsWhyItFails) {
    for (unsigned int closed = 0; closed < kEverySubset; ++closed) {
        int descriptor = 0;
        int error = 0;
        unsigned int openAfterwards = 0;
        {
            const ClosedStandard standard(closed);
            descriptor = pdalink::openAboveStandard("/missing/file", O_RDONLY);
            error = errno;
            openAfterwards = openStandard();
        }
        EXPECT_EQ(descriptor, -1);
        EXPECT_EQ(error, ENOENT) << closed;
        EXPECT_EQ(openAfterwards, ~closed & (kEverySubset - 1));
    }
}

TEST(OpeningAboveStandard, NeverLetsAnotherThreadsOutputIntoTheFile) {
    const TemporaryDirectory directory;
    const std::string path = directory.file("file");
    std::vector<ssize_t> written;
    {
        const ClosedStandard standard(kEverySubset - 1);
        std::atomic<bool> finished{false};
        std::thread printer([&] {
            while (!finished) {
                const ssize_t size = write(STDIN_FILENO, "printed", 7);
                if (size != -1) {
                    written.push_back(size);
                }
            }
        });
        for (int i = 0; i < 20000; ++i) {
            close(pdalink::openAboveStandard(path.c_str(), O_RDWR | O_CREAT | O_APPEND, 0600));
        }
        finished = true;
        printer.join();
    }
    EXPECT_TRUE(written.empty());
    EXPECT_EQ(readFile(path), "");
}

} // namespace
