#pragma once

#include <functional>
#include <string>
#include <vector>

namespace pdasim {

/// What pdasim ends with when it does not end with its command's own exit code.
enum ExitCode {
    /// What "ctl" wanted to have done was refused by the terminal, or no program has heard it.
    CommandRefused = 1,
    BadUsage = 64,
    BadScenario = 65,
    /// No pdasim runs where "ctl" looked for one.
    NotRunning = 69,
    /// The command succeeded, but broke the protocol on its way.
    ProtocolViolated = 70,
    CannotCreateFile = 73,
    /// Something that the simulation needs is missing.
    CannotSimulate = 71,
    /// What was printed has not arrived.
    CannotPrint = 74,
    CannotExecute = 126,
    CommandNotFound = 127,
    /// Plus the number of the signal that ended the command.
    EndedBySignal = 128
};

/// Runs the action; an exception becomes a message and the exit code for its kind.
int reportingFailures(const std::function<int()>& action);

/// Tells what hosts have done against the protocol.
void reportViolations(const std::vector<std::string>& violations);

} // namespace pdasim
