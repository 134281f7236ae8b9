#pragma once

#include <string>

namespace pdasim {

/// "/sys", or the folder that PDASIM_SYS names.
std::string sysFolder();
/// "/dev", or the folder that PDASIM_DEV names.
std::string deviceFolder();

/// The name of the user's group, or its number without a name; for commands that give permissions.
std::string groupOfUser();
std::string nameOfUser();

} // namespace pdasim
