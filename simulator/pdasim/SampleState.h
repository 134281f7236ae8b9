#pragma once

#include "core/TerminalState.h"

namespace pdasim {

/** What a terminal of this program knows at first: two locks, a teller who has registered, and a file. */
void fillWithSamples(TerminalState& state);

} // namespace pdasim
