#pragma once

#include "pdasim/ChildProcess.h"

namespace pdasim {

/** Lets this process be asked to end when its parent ends; false when that has gone already. */
bool endWithParent();

/** Returns when this process is asked to end. */
void waitForTheEnd(const HeldSignals& signals);

} // namespace pdasim
