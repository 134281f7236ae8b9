#pragma once

#include "Outcome.h"

#include <string>

namespace pdactl {

/** How the terminal is asked for or given a file. */
struct FileOrder {
    std::string pda;
    int command = 0;
    std::string info;
};

/** The most bytes and the fewest that the protocol can carry. */
constexpr std::size_t MostFileBytes = 300000000;
constexpr std::size_t FewestFileBytes = 5;

/** Sends a file's bytes. Throws a Failure when they cannot be sent. */
Outcome sendFile(const FileOrder& order, const std::string& bytes, bool verbose);

/** Fetches a file's bytes into the file at this path, which appears only when all of them have arrived. */
Outcome fetchFile(const FileOrder& order, const std::string& path, bool verbose);

} // namespace pdactl
