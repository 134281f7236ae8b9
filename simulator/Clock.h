#pragma once

#include <string>

namespace pdasim {

/// Now, as yyyyMMddhhmmss.
std::string localStamp();

/// Now, as hh:mm:ss.zzz.
std::string timeOfDay();

} // namespace pdasim
