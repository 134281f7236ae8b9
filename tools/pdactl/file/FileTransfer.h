#pragma once

#include "Request.h"

#include <cstddef>
#include <string>

namespace pdactl {

/// How the terminal is asked for or given a file.
struct FileOrder {
    std::string pda;
    int command = 0;
    std::string info;
};

/// The most bytes and the fewest that the protocol can carry.
constexpr std::size_t kMaxFileBytes = 300000000;
constexpr std::size_t kMinFileBytes = 5;

/// Each prints what came of it and returns the exit code, or throws a Failure; a dry run prints the first
/// message.
int sendFile(const FileOrder& order, const std::string& path, const std::string& bytes,
             const Settings& settings);

/// Fetches a file into the one at this path, which appears only when all of it has arrived.
int fetchFile(const FileOrder& order, const std::string& path, const Settings& settings);

} // namespace pdactl
