#pragma once

#include "Host.h"

#include <optional>
#include <string>

namespace pdactl {

struct FileOptions {
    std::string file; ///< its path
    std::string pda = kPresetPda;
    int command = 1;
    std::string info; ///< when a file is sent, its name unless given
};

/// Sends a file. Nothing comes of a dry run. Throws a Failure for one that cannot be sent.
std::optional<Outcome> sendFile(const Host& host, FileOptions options, const Settings& settings);

/// Fetches a file, which appears only when all of it has arrived.
std::optional<Outcome> fetchFile(const Host& host, FileOptions options, const Settings& settings);

} // namespace pdactl
