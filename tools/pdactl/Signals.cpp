#include "Signals.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <cstdlib>
#include <ctime>
#include <string_view>
#include <utility>

namespace pdactl {

namespace {

struct EndSignal {
    int signalNumber;
    std::string_view document;
};

// Complete texts: a signal handler must not compose any. The exit code is the one that a shell shows.
constexpr std::array<EndSignal, 4> kSignals{{
    {SIGHUP, "{\"exitCode\":129,\"message\":\"Ended by the signal SIGHUP.\"}\n"},
    {SIGINT, "{\"exitCode\":130,\"message\":\"Ended by the signal SIGINT.\"}\n"},
    {SIGQUIT, "{\"exitCode\":131,\"message\":\"Ended by the signal SIGQUIT.\"}\n"},
    {SIGTERM, "{\"exitCode\":143,\"message\":\"Ended by the signal SIGTERM.\"}\n"},
}};
static_assert(SIGHUP == 1 && SIGINT == 2 && SIGQUIT == 3 && SIGTERM == 15);

// What the handler can reach; it may run in any thread.
std::array<char, PATH_MAX> g_temporaryPath{};
std::atomic<bool> g_asJson{false};
std::atomic<int> g_documentDescriptor{-1};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler must not wait for a lock");

std::vector<LastLine> g_lastLines; // not changed while the library is called
std::atomic<bool> g_isCalling{false};

void removeTemporaryFile() {
    if (g_temporaryPath[0] != '\0') {
        (void)::unlink(g_temporaryPath.data());
    }
}

/// At every end of the process. It may have come in a signal handler.
void endOfProcess() {
    if (g_isCalling.exchange(false)) {
        removeTemporaryFile();
        for (const LastLine& each : g_lastLines) {
            (void)!::write(each.descriptor, each.line.constData(),
                           static_cast<std::size_t>(each.line.size()));
        }
    }
}

void abortProcess(int signalNumber) {
    endOfProcess();
    (void)std::signal(signalNumber, SIG_DFL);
    (void)::raise(signalNumber);
}

void writeDocument(int signalNumber) {
    const int descriptor = g_documentDescriptor.exchange(-1);
    for (const EndSignal& each : kSignals) {
        if (each.signalNumber == signalNumber && g_asJson && descriptor >= 0) {
            (void)!::write(descriptor, each.document.data(), each.document.size());
        }
    }
}

void end(int signalNumber) {
    removeTemporaryFile();
    writeDocument(signalNumber);
    (void)std::signal(signalNumber, SIG_DFL);
    (void)::raise(signalNumber);
}

} // namespace

void handleSignals(bool asJson) {
    g_asJson = asJson;
    (void)std::atexit(endOfProcess);
    (void)std::signal(SIGABRT, abortProcess);
    for (const EndSignal& each : kSignals) {
        struct sigaction action {};
        (void)::sigaction(each.signalNumber, nullptr, &action);
        if (action.sa_handler != SIG_IGN) {
            (void)std::signal(each.signalNumber, end);
        }
    }
}

std::string setTemporaryFile(const std::string& path) {
    std::string before = g_temporaryPath.data();
    if (path.size() < g_temporaryPath.size()) { // no file has a longer one
        std::copy_n(path.c_str(), path.size() + 1, g_temporaryPath.begin());
    }
    return before;
}

void setDocumentDescriptor(int descriptor) {
    g_documentDescriptor = descriptor;
}

CallInProgress::CallInProgress(std::vector<LastLine> lines) {
    g_lastLines = std::move(lines);
    g_isCalling = true;
}

CallInProgress::~CallInProgress() {
    g_isCalling = false;
}

BlockedSignals::BlockedSignals() {
    (void)::sigemptyset(&m_signals);
    (void)::sigaddset(&m_signals, SIGINT);
    (void)::sigaddset(&m_signals, SIGTERM);
    (void)::pthread_sigmask(SIG_BLOCK, &m_signals, &m_before);
}

BlockedSignals::~BlockedSignals() {
    (void)::pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
}

bool BlockedSignals::arriveWithin(long milliseconds) const {
    constexpr long kNanoseconds = 1000000; // of a millisecond
    const timespec time{0, milliseconds * kNanoseconds};
    return ::sigtimedwait(&m_signals, nullptr, &time) > 0;
}

} // namespace pdactl
