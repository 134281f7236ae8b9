#pragma once

#include "ExitCode.h"

#include <stdexcept>
#include <string>

namespace pdactl {

/** Ends the program with a message for people, which says what to do next, and an exit code for scripts. */
class Failure : public std::runtime_error {
public:
    Failure(ExitCode exitCode, const std::string& message)
        : std::runtime_error(message), m_exitCode(exitCode) {}

    ExitCode exitCode() const { return m_exitCode; }

private:
    ExitCode m_exitCode;
};

} // namespace pdactl
