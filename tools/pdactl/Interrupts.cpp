#include "Interrupts.h"

#include <atomic>

namespace pdactl {

namespace {

// Not a sig_atomic_t: the signal may come to the library's receiver thread while the main thread reads.
std::atomic<bool> g_came{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler must not wait for a lock");

void note(int /*signalNumber*/) {
    g_came = true;
}

} // namespace

Interrupts::Interrupts() {
    struct sigaction action {};
    action.sa_handler = note;
    g_came = false;
    (void)::sigaction(SIGINT, &action, &m_previousInterrupt);
    (void)::sigaction(SIGTERM, &action, &m_previousTermination);
}

Interrupts::~Interrupts() {
    (void)::sigaction(SIGINT, &m_previousInterrupt, nullptr);
    (void)::sigaction(SIGTERM, &m_previousTermination, nullptr);
}

bool Interrupts::came() const {
    return g_came;
}

} // namespace pdactl
