#pragma once

#include "scenario/Json.h"

#include <string>
#include <vector>

namespace pdasim {

/// Refuses what does not keep to the schema of scenarios, and is then nothing to read values from.
void checkAgainstSchema(const Json& scenario);

/// Throws a JsonError for the value at a JSON pointer.
[[noreturn]] void refuseAt(const std::string& pointer, const std::string& reason);

/// "a, b, c"
std::string joined(const std::vector<std::string>& texts);

} // namespace pdasim
