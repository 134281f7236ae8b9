#pragma once

#include <string>

namespace pdactl {

/** The text as one word of a shell: as it stands where nothing in it means anything to a shell, else quoted.
 */
std::string shellWord(const std::string& text);

} // namespace pdactl
