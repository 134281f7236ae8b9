#pragma once

#include <stdexcept>
#include <string>

namespace pdactl {

/// How the program ends; scripts rely on the numbers.
enum ExitCode : int {
    Success = 0,
    LocalFailure = 1,    ///< on this machine: a file that cannot be read, a device that stops the library
    BadUsage = 2,        ///< the command line makes no sense
    RequestRefused = 3,  ///< the library refused the request
    NotSent = 4,         ///< the message could not be written to the terminal
    NoReply = 5,         ///< the terminal stayed silent, or replied with something else
    TerminalRefused = 6, ///< the terminal replied with another code than 000000
    InternalFailure = 7, ///< the library failed
    TransferRefused = 8, ///< a file did not arrive whole
};

/// Ends the program with a message for people, which says what to do next, and an exit code for scripts.
class Failure : public std::runtime_error {
public:
    Failure(ExitCode exitCode, const std::string& message)
        : std::runtime_error(message), m_exitCode(exitCode) {}

    ExitCode exitCode() const { return m_exitCode; }

private:
    ExitCode m_exitCode;
};

} // namespace pdactl
