#pragma once

#include "scenario/Scenario.h"

#include <string>
#include <vector>

namespace pdasim {

struct Value;

Rule takeRule(const Value& value);

/// An ending of a value in a request that makes the terminal misbehave with that request.
struct MagicValue {
    const char* suffix;
    const char* effect;
    Fault fault;
};

const std::vector<MagicValue>& magicValues();

/// One rule for each.
std::vector<Rule> magicRules();

} // namespace pdasim
