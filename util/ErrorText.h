#pragma once

#include <string>

namespace pdalink {

/// What the system says of an error number, in English whatever the locale.
std::string errorText(int error);

} // namespace pdalink
