#pragma once

#include <string_view>
#include <vector>

namespace pdactl::log {

/** Tags and JSON members whose values nobody may see who is not meant to. */
const std::vector<std::string_view>& secretNames();

/** In upper or lower case; the table's spelling, empty when the name is none of them. */
std::string_view secretName(std::string_view name);

} // namespace pdactl::log
