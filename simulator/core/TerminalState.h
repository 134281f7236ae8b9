#pragma once

#include <string>

namespace pdasim {

/** What the terminal says about itself. The values are sent as they are, whatever bytes they hold. */
struct Identity {
    std::string eimi = "860123456789012";
    std::string bleVersion = "BLE-1.4.2";
    std::string pdaVersion = "PDA-2.0.7";
    std::string vendor = "SIMULATED";
    std::string returnCode = "000000";
};

/** Everything that the terminal remembers from one message to the next. */
struct TerminalState {
    Identity identity;
    /** The number to work under and the factory code, as the last initialisation gave them. */
    std::string assignedNumber;
    std::string factory;
};

} // namespace pdasim
