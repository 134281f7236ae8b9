#pragma once

#include <string>
#include <string_view>

namespace pdactl {

inline bool startsWith(std::string_view text, std::string_view beginning) {
    return text.substr(0, beginning.size()) == beginning;
}

/// Valid UTF-8 without control characters, on one line, for people: what comes from outside must not play
/// with the screen, nor pass for lines of its own.
std::string printable(std::string_view text);

/// The text as one word of a shell: quoted, unless nothing in it means anything to a shell.
std::string shellWord(const std::string& text);

} // namespace pdactl
