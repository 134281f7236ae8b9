#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace pdactl::log {

/// Milliseconds of the log's own clock, which names no time zone, since 1970-01-01 on that clock.
using Time = std::int64_t;

/// How many characters "2026-01-02 03:04:05678 " has.
constexpr std::size_t kStampLength = 23;

/// The time of the stamp with which the text begins; nothing when it does not begin with one.
std::optional<Time> parseStamp(std::string_view text);

/// A moment as people write it: "2026-01-02", "2026-01-02 03:04", "2026-01-02T03:04:05.678".
struct Moment {
    Time first; ///< of the day, minute, second or millisecond that was named
    Time last;
};

std::optional<Moment> parseMoment(std::string_view text);

/// "2026-01-02 03:04:05.678", or with "T" between date and time.
std::string formatTime(Time time, char separator = ' ');

/// "0.111 s", "4.9 min", "2.5 h", "3.0 d".
std::string formatDuration(Time milliseconds);

} // namespace pdactl::log
