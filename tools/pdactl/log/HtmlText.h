#pragma once

#include <string>
#include <string_view>

namespace pdactl::log {

/** The text as content of an element or of a quoted attribute. */
std::string html(std::string_view text);

} // namespace pdactl::log
