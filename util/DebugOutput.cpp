#include "util/DebugOutput.h"

#include "util/ForkSection.h"
#include "util/Guard.h"

#include <QtGlobal>

void pdalink::debugOutput(const char* line) {
    const ForkSection section;
    // Not a stream: that prints in its destructor, out of which nothing may be thrown.
    guarded([&] { qDebug("%s", line); }, [] {});
}
