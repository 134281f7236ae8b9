#pragma once

#include "SimulatedTerminal.h"

#include <cstddef>
#include <string>

namespace pdasim {

/** A message that has just passed, as one line of JSON: when, by whom, its type, and in words. */
std::string trafficRecord(std::size_t terminal, SimulatedTerminal::Direction direction,
                          const std::string& text);

} // namespace pdasim
