#pragma once

#include "scenario/Json.h"
#include "scenario/Scenario.h"

namespace pdasim {

/** Reads a rule that keeps to the schema. */
Rule readRule(const Json& json);

} // namespace pdasim
