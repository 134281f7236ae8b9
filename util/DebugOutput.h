#pragma once

namespace pdalink {

/// Writes a line to the Qt debug output. Without the memory for it the line is lost.
void debugOutput(const char* line);

} // namespace pdalink
