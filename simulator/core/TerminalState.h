#pragma once

#include "core/state/Bags.h"
#include "core/state/Files.h"
#include "core/state/Identity.h"
#include "core/state/Keys.h"
#include "core/state/Locks.h"

#include <map>
#include <string>
#include <vector>

namespace pdasim {

struct Tellers {
    /** The number that a user has registered on the terminal; empty when nobody has. */
    std::string registered;
    std::vector<std::string> authenticationResults;
    std::vector<std::string> escorts;
};

/** Everything that the terminal remembers from one message to the next. */
struct TerminalState {
    Identity identity;
    /** The number to work under and the factory code, as the last initialisation gave them. */
    std::string assignedNumber;
    std::string factory;

    std::vector<WrittenLabel> writtenLabels;
    ScanRun scan;
    Inventory inventory;
    /** By task id. */
    std::map<std::string, DotHandover> dotHandovers;
    std::map<std::string, PowerHandover> powerHandovers;

    Keys keys;
    Files files;
    Tellers tellers;

    std::string bleMac;
    std::vector<Lock> locks;
    std::vector<LockOperation> lockOperations;

    /** The number under which the terminal's own messages go out. */
    const std::string& number() const { return assignedNumber.empty() ? identity.eimi : assignedNumber; }
};

} // namespace pdasim
