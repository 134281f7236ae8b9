#pragma once

namespace pdasim {

/** What pdasim ends with when it does not end with its command's own exit code. */
enum ExitCode {
    BadUsage = 64,
    /** The command succeeded, but broke the protocol on its way. */
    ProtocolViolated = 70,
    CannotCreateFile = 73,
    /** Something that the simulation needs is missing. */
    CannotSimulate = 71,
    CannotExecute = 126,
    CommandNotFound = 127,
    /** Plus the number of the signal that ended the command. */
    EndedBySignal = 128
};

} // namespace pdasim
