#include "util/Descriptor.h"
#include "tests/util/ClosedStandard.h"
#include "tests/util/Files.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

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
    for (unsigned int closed = 0; closed <= kAllStandard; ++closed) {
        int descriptor = -1;
        int missing = 0;
        int error = 0;
        unsigned int openAfterwards = 0;
        {
            const ClosedStandard standard(closed);
            descriptor = pdalink::openAboveStandard(directory.file("file").c_str(), O_RDWR | O_CREAT, 0600);
            missing = pdalink::openAboveStandard("/missing/file", O_RDONLY);
            error = errno;
            openAfterwards = openStandard();
        }
        EXPECT_EQ(missing, -1);
        EXPECT_EQ(error, ENOENT) << closed;
        EXPECT_GT(descriptor, STDERR_FILENO) << closed;
        EXPECT_EQ(openAfterwards, ~closed & kAllStandard) << "closed ones stay closed";
        EXPECT_EQ(write(descriptor, "x", 1), 1) << closed;
        EXPECT_NE(static_cast<unsigned int>(fcntl(descriptor, F_GETFD)) & FD_CLOEXEC, 0U) << closed;
        close(descriptor);
    }
}

TEST(OpeningAboveStandard, NeverLetsAnotherThreadsOutputIntoTheFile) {
    const TemporaryDirectory directory;
    const std::string path = directory.file("file");
    std::vector<long> written;
    {
        const ClosedStandard standard(kAllStandard);
        std::atomic<bool> finished{false};
        std::thread printer([&] {
            while (!finished) {
                // By its number: the thread sanitizer takes the shared descriptor, which is meant, for a
                // mistake.
                const long size = syscall(SYS_write, STDIN_FILENO, "printed", 7);
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

TEST(OpeningARegularFile, OpensNothingElse) {
    const TemporaryDirectory directory;
    const std::string fifo = directory.file("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    alarm(20); // instead of waiting for ever
    for (const char* path : {fifo.c_str(), directory.path().c_str(), "/dev/null", "/missing/file"}) {
        for (const int flags : {O_RDONLY, O_WRONLY, O_RDWR}) {
            EXPECT_EQ(pdalink::openRegularFile(path, flags), -1) << path << " " << flags;
        }
    }
    alarm(0);
    writeFile(directory.file("file"), "text");
    const int descriptor = pdalink::openRegularFile(directory.file("file").c_str(), O_RDONLY);
    EXPECT_GT(descriptor, STDERR_FILENO);
    close(descriptor);
}

} // namespace
