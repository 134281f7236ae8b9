#pragma once

#include <string>

namespace pdasim {

/// The text as one word of a shell, whatever is in it.
std::string quotedForShell(const std::string& text);

} // namespace pdasim
