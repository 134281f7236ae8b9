#pragma once

#include <string>
#include <string_view>

namespace pdactl::log {

/**
 * The name in lower case when it is one of a tag or JSON member whose value nobody may see who is not meant
 * to; empty otherwise. Names that a host gives to its own values are judged like those of the protocol.
 */
std::string secretName(std::string_view name);

} // namespace pdactl::log
