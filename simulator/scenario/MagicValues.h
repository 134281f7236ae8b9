#pragma once

#include "scenario/Scenario.h"

#include <string>
#include <vector>

namespace pdasim {

/** An ending of a value in a request that makes the terminal misbehave with that request. */
struct MagicValue {
    const char* suffix;
    const char* effect;
    Fault fault;
};

const std::vector<MagicValue>& magicValues();

/** The tags whose endings count. */
const std::vector<std::string>& magicTags();

/** One rule for each. */
std::vector<Rule> magicRules();

} // namespace pdasim
