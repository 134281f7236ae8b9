#pragma once

#include <string>
#include <string_view>

namespace pdactl {

/** Bytes as lower-case hexadecimal digits. */
std::string toHex(std::string_view bytes);

/** True when the text is nothing but pairs of hexadecimal digits. */
bool isHex(std::string_view text);

/** The bytes of a text of which isHex() is true. */
std::string fromHex(std::string_view text);

} // namespace pdactl
