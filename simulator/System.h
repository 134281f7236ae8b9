#pragma once

#include <string>

/// What the system around this program tells, and how its shell reads texts.
namespace pdasim {

/// Now, as yyyyMMddhhmmss.
std::string localStamp();
/// Now, as hh:mm:ss.zzz.
std::string timeOfDay();

/// "/sys", or the folder that PDASIM_SYS names.
std::string sysFolder();
/// "/dev", or the folder that PDASIM_DEV names.
std::string deviceFolder();

/// The name of the user's group, or its number without a name; for commands that give permissions.
std::string groupOfUser();
std::string nameOfUser();

/// The text as one word of a shell, whatever is in it.
std::string quotedForShell(const std::string& text);

} // namespace pdasim
