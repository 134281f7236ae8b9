#pragma once

#include "core/Message.h"

#include <string>

namespace pdasim {

/** Is true of a message that has such a tag, among its own or in one of its groups of locks. */
struct TagCondition {
    enum class Match { Equals, StartsWith, EndsWith };

    std::string name;
    Match match;
    std::string value;

    bool operator()(const ParsedMessage& message) const;
};

} // namespace pdasim
