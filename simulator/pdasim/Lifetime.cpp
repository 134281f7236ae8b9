#include "pdasim/Lifetime.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>

namespace pdasim {

bool endWithParent() {
    const pid_t parent = ::getppid();
    (void)::prctl(PR_SET_PDEATHSIG, SIGTERM);
    return ::getppid() == parent;
}

void waitForTheEnd(const HeldSignals& signals) {
    int received = SIGCHLD;
    while (received == SIGCHLD || received < 0) {
        received = ::sigwaitinfo(&signals.held(), nullptr);
    }
}

} // namespace pdasim
