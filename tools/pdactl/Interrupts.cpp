#include "Interrupts.h"

namespace pdactl {

namespace {

volatile std::sig_atomic_t g_came = 0;

void note(int /*signalNumber*/) {
    g_came = 1;
}

} // namespace

Interrupts::Interrupts() {
    struct sigaction action {};
    action.sa_handler = note;
    g_came = 0;
    (void)::sigaction(SIGINT, &action, &m_previousInterrupt);
    (void)::sigaction(SIGTERM, &action, &m_previousTermination);
}

Interrupts::~Interrupts() {
    (void)::sigaction(SIGINT, &m_previousInterrupt, nullptr);
    (void)::sigaction(SIGTERM, &m_previousTermination, nullptr);
}

bool Interrupts::came() const {
    return g_came != 0;
}

} // namespace pdactl
