#pragma once

#include "log/Time.h"

#include <string>
#include <string_view>

namespace pdactl::log {

inline bool startsWith(std::string_view text, std::string_view beginning) {
    return text.substr(0, beginning.size()) == beginning;
}

enum class Level { Message, Error, Warning, Info };

/** One entry of a log. Head, text and line end together are its bytes. */
struct Entry {
    std::string head; ///< stamp and level word; empty for what stands before the first stamp
    std::string text; ///< line ends inside it included
    std::string lineEnd;
    Time time = 0;
    Level level = Level::Info;
};

} // namespace pdactl::log
