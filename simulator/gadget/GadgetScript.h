#pragma once

#include "DeviceDescription.h"

#include <cstddef>
#include <string>

namespace pdasim {

/**
 * The POSIX shell script that makes a board's USB device controller a terminal, the named one or, without a
 * name, the first one that nothing uses yet. What it prints is "CONTROLLER NODE". It says what is missing,
 * and the command that helps.
 */
std::string gadgetScript(const DeviceDescription& description, std::size_t reportSize,
                         const std::string& controller);

/** The script that takes it away again: from the named controller, or from all. */
std::string gadgetRemovalScript(const std::string& controller);

} // namespace pdasim
