#pragma once

#include <QString>

#include <chrono>
#include <cstddef>

namespace pdalink {

/// Appends the text of one report, up to its NUL padding, to g_buffer and raises g_isBufferCome.
void appendReport(const char* report, std::size_t size);

/// Empties the buffer. The flag stays as it is.
void emptyBuffer();

/// Takes the whole buffer and lowers the flag in one hold of the lock, so that no data arriving in between is
/// lost or leaves the flag up for an empty buffer.
QString takeBuffer();

/// True while the message in the buffer is shorter than its length field says and its last report came less
/// than `pause` ago.
bool awaitsMore(std::chrono::milliseconds pause);

} // namespace pdalink
