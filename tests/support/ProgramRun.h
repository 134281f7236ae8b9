#pragma once

#include <map>
#include <string>
#include <vector>

namespace pdalink::test {

/// How a program ended, and what it wrote.
struct ProgramResult {
    /// The exit code, or 128 plus the number of the signal that ended it.
    int exitCode = 0;
    std::string output;
    std::string errors;
};

/// Runs a program to its end, with nothing to read and these variables added to its environment.
ProgramResult runProgram(std::vector<std::string> command,
                         const std::map<std::string, std::string>& variables = {});

} // namespace pdalink::test
