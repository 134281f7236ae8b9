#include "pdasim/DeskService.h"

#include "pdasim/ExitCode.h"
#include "pdasim/Reporting.h"

#include <iostream>
#include <vector>

namespace pdasim {

int serveUntilTheEnd(const Desk& desk, const std::string& ready, const HeldSignals& signals) {
    for (const std::string& line : desk.summary()) {
        std::cout << "# " << line << "\n";
    }
    if (!(std::cout << "# ready: " << ready << std::endl)) {
        // Nobody would ever know. main() tells why.
        return 0;
    }
    waitForTheEnd(signals);
    const std::vector<std::string> violations = desk.violations();
    reportViolations(violations);
    return violations.empty() ? 0 : static_cast<int>(ProtocolViolated);
}

} // namespace pdasim
