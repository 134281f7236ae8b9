#pragma once

#include "log/Entry.h"
#include "log/Exchange.h"

#include <optional>
#include <string_view>

namespace pdactl::log {

/** "GetInfo" of "[GetInfo] begin"; empty for any other line. */
std::string_view begunMethod(std::string_view text);

/** The number at the end of a response's line. */
std::optional<int> resultOf(std::string_view text);

/** What the line says has come of a transfer; nothing for any other line. */
std::optional<Outcome> toldOutcome(std::string_view text);

/** Whether the line tells why something went wrong. */
bool isNoteworthy(const Entry& entry);

} // namespace pdactl::log
