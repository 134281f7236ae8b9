#pragma once

#include "log/Time.h"

#include <string>

namespace pdactl::log {

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
