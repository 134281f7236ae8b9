#include "SimulatedTerminal.h"
#include "interface/pdalink.h"
#include "tests/interface/FailingMemory.h"
#include "tests/support/SkippedSleeps.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QTextCodec>

#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <string>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

// Every allocation of a call fails once, each in a process of its own.

namespace {

constexpr const char* kRequest = R"({"transCode":"600002"})";

/// How a process ended that was to survive.
enum Outcome { Survived = 0, NeededNoMore = 10, NoUsualCall = 11, HalfAResponse = 12, NextCallFailed = 13 };

struct Call {
    Call() { PDA_CommonCall(kRequest, 0, response.data(), &length); }

    bool isUntouched() const { return length == -7 && response[0] == '#' && response[1] == '#'; }
    bool isWhole() const {
        return length >= 0 && std::string(response.data()).size() == static_cast<std::size_t>(length);
    }
    bool isAnswered() const {
        return isWhole() && std::string(response.data()).find(R"("pRetCode":"000000")") != std::string::npos;
    }

    std::array<char, 131072> response{'#', '#'};
    int length = -7;
};

/// Sleeps for a tenth of the time.
bool sleepShortly(long long nanoseconds) {
    const timespec tenth{static_cast<time_t>(nanoseconds / 10000000000),
                         static_cast<long>(nanoseconds / 10 % 1000000000)};
    syscall(SYS_nanosleep, &tenth, nullptr);
    return true;
}

/// A call that works, at the latest after some tries: on a busy machine a reply may come too late, because
/// sleeping takes a tenth of its time.
bool callsAreAnswered() {
    constexpr int tries = 20;
    for (int i = 0; i < tries; ++i) {
        if (Call().isAnswered()) {
            return true;
        }
    }
    return false;
}

/// What Qt makes once in a process. Without memory for that it leaves locks held for ever, whoever calls it.
void initialiseQt() {
    qDebug("%s", QLocale::c().toString(QDateTime::currentDateTime(), QStringLiteral("yyyy")).toUtf8().data());
    QCoreApplication::processEvents();
    QTextCodec::codecForLocale()->fromUnicode(QStringLiteral("text"));
    QJsonDocument(QJsonObject{{QStringLiteral("key"), QStringLiteral("text")}}).toJson();
}

/// In a process of its own: makes a call with one allocation failing, then another one.
[[noreturn]] void endAfterFailing(int number, bool isWarm) noexcept {
    const SkippedSleeps shortSleeps(sleepShortly);
    initialiseQt();
    alarm(60); // instead of waiting for ever
    if (isWarm && !callsAreAnswered()) {
        std::exit(NoUsualCall);
    }
    std::optional<Call> call;
    bool happened = false;
    {
        const FailingMemory failing(number);
        call.emplace();
        happened = FailingMemory::happened();
    }
    if (!call->isUntouched() && !call->isWhole()) {
        std::exit(HalfAResponse);
    }
    if (!callsAreAnswered()) {
        std::exit(NextCallFailed);
    }
    std::exit(happened ? Survived : NeededNoMore);
}

void writeAll(int descriptor, const void* bytes, std::size_t size) {
    if (write(descriptor, bytes, size) != static_cast<ssize_t>(size)) {
        std::_Exit(EXIT_FAILURE);
    }
}

/// Forks a process for every allocation, from a process that has no other thread: a lock that one holds at
/// that moment would stay held for ever. Writes how each ended.
class Forker {
public:
    explicit Forker(bool isWarm) {
        std::array<int, 2> towards{};
        std::array<int, 2> back{};
        if (pipe2(towards.data(), O_CLOEXEC) != 0 || pipe2(back.data(), O_CLOEXEC) != 0) {
            std::abort();
        }
        m_process = fork();
        if (m_process == 0) {
            close(towards[1]);
            forkForEach(isWarm, towards[0], back[1]);
        }
        close(towards[0]);
        close(back[1]);
        m_towards = towards[1];
        m_back = back[0];
    }
    ~Forker() {
        close(m_towards);
        close(m_back);
        waitpid(m_process, nullptr, 0);
    }
    Forker(const Forker&) = delete;
    Forker& operator=(const Forker&) = delete;

    /// Lets it begin, with the devices that this process has by now.
    void begin() const {
        const std::string directory = std::getenv("UMOCKDEV_DIR");
        writeAll(m_towards, directory.c_str(), directory.size() + 1);
    }

    /// The status of the next process; false after the last.
    bool next(int& status) const { return read(m_back, &status, sizeof status) == sizeof status; }

private:
    [[noreturn]] static void forkForEach(bool isWarm, int in, int out) {
        std::array<char, 4096> directory{};
        if (read(in, directory.data(), directory.size()) <= 0) {
            std::_Exit(EXIT_FAILURE);
        }
        setenv("UMOCKDEV_DIR", directory.data(), 1);
        dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
        int status = 0;
        for (int number = 1; !WIFEXITED(status) || WEXITSTATUS(status) != NeededNoMore; ++number) {
            const pid_t process = fork();
            if (process == 0) {
                endAfterFailing(number, isWarm);
            }
            waitpid(process, &status, 0);
            writeAll(out, &status, sizeof status);
        }
        std::_Exit(EXIT_SUCCESS);
    }

    pid_t m_process = -1;
    int m_towards = -1;
    int m_back = -1;
};

std::string described(int status) {
    if (WIFSIGNALED(status)) {
        return "signal " + std::to_string(WTERMSIG(status));
    }
    return "exit code " + std::to_string(WEXITSTATUS(status));
}

class EveryAllocation : public testing::TestWithParam<bool> {};

TEST_P(EveryAllocation, MayFailOnceWithoutEndingTheProcess) {
    const Forker forker(GetParam());
    pdasim::SimulatedTerminal::Options options;
    options.reportSize = 4096; // each reply in one report: short sleeps do not wait for more
    const pdasim::SimulatedTerminal terminal(options);
    forker.begin();
    int number = 0;
    int status = 0;
    while (forker.next(status)) {
        ++number;
        const bool isFine =
            WIFEXITED(status) && (WEXITSTATUS(status) == Survived || WEXITSTATUS(status) == NeededNoMore);
        EXPECT_TRUE(isFine) << "with allocation " << number << " failing: " << described(status);
    }
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == NeededNoMore) << described(status);
    EXPECT_GT(number, 50) << "hardly anything was allocated where the test can see it";
}

INSTANTIATE_TEST_SUITE_P(Of, EveryAllocation, testing::Bool(), [](const testing::TestParamInfo<bool>& info) {
    return std::string(info.param ? "ALaterCall" : "TheFirstCall");
});

} // namespace
