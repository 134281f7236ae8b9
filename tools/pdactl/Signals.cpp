#include "Signals.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <ctime>
#include <string_view>

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

void writeDocument(int signalNumber) {
    const int descriptor = g_documentDescriptor.exchange(-1);
    for (const EndSignal& each : kSignals) {
        if (each.signalNumber == signalNumber && g_asJson && descriptor >= 0) {
            (void)!::write(descriptor, each.document.data(), each.document.size());
        }
    }
}

void end(int signalNumber) {
    if (g_temporaryPath[0] != '\0') {
        (void)::unlink(g_temporaryPath.data());
    }
    writeDocument(signalNumber);
    (void)std::signal(signalNumber, SIG_DFL);
    (void)::raise(signalNumber);
}

} // namespace

void handleSignals(bool asJson) {
    g_asJson = asJson;
    for (const EndSignal& each : kSignals) {
        struct sigaction action {};
        (void)::sigaction(each.signalNumber, nullptr, &action);
        if (action.sa_handler != SIG_IGN) {
            (void)std::signal(each.signalNumber, end);
        }
    }
}

void setTemporaryFile(const std::string& path) {
    if (path.size() < g_temporaryPath.size()) { // no file has a longer one
        std::copy_n(path.c_str(), path.size() + 1, g_temporaryPath.begin());
    }
}

void setDocumentDescriptor(int descriptor) {
    g_documentDescriptor = descriptor;
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
