#pragma once

#include "SimulatedTerminal.h"
#include "scenario/Json.h"

namespace pdasim {

/// Everything about a terminal as one JSON object; files by their size only.
Document describeState(SimulatedTerminal& terminal);

} // namespace pdasim
