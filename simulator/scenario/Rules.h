#pragma once

#include "scenario/Json.h"
#include "scenario/Scenario.h"

#include <string>
#include <vector>

namespace pdasim {

/// Reads a rule that keeps to the schema. Throws a JsonError for tags that its messages do not have.
Rule readRule(const Json& json, const std::string& pointer);

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
