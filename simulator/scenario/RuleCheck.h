#pragma once

#include "scenario/Json.h"

#include <optional>
#include <string>

namespace pdasim {

struct RuleMistake {
    int line;
    /** A JSON pointer inside the rule. */
    std::string path;
    std::string reason;
};

/** The first thing in a rule for which the protocol has no use, though the rule keeps to the schema. */
std::optional<RuleMistake> findMistake(const Json& rule);

} // namespace pdasim
