#pragma once

#include "pdasim/Desk.h"
#include "pdasim/Lifetime.h"

#include <string>

namespace pdasim {

/** Tells where the terminals are and that they are ready, keeps them up until this process is asked to end,
 * and gives its exit code. */
int serveUntilTheEnd(const Desk& desk, const std::string& ready, const HeldSignals& signals);

} // namespace pdasim
