#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pdactl::log {

/// For no position.
constexpr std::size_t kNone = std::string_view::npos;

/// What a log line tells of a message or of a request.
enum class LineKind {
    Request,      ///< "inJson4:"
    Response,     ///< "outJson:"
    Prepared,     ///< "600002 SendData pre: "
    Written,      ///< "Write XML: "
    WriteFailed,  ///< "Write XML error:"
    Read,         ///< "HID Read XML: "
    WrongMessage, ///< "Read XML:" … " ---Wrong Command --Delete"
    Other,
};

/// A line that carries text from outside.
struct TrafficLine {
    LineKind kind = LineKind::Other;
    std::size_t payload = 0; ///< where the text from outside begins
};

/// Whether the header of a message begins here, and its tags or nothing follow it.
bool beginsMessage(std::string_view text);

/// The length that a message says it has, header included, when the digits of a length and a type begin here.
std::optional<std::size_t> declaredLength(std::string_view text);

/// How many bytes a message's header has.
constexpr std::size_t kMessageHeader = 50;

/// What the library writes after a message of another type than expected.
constexpr std::string_view kWrongTail = " ---Wrong Command --Delete";

/// Looks at no more than the beginning of a text.
TrafficLine trafficLine(std::string_view text);

/// The payload without what the library wrote after it.
std::string_view payloadOf(std::string_view text, TrafficLine line);

/// Whether an entry begins here: a stamp and a level word.
bool isEntryHead(std::string_view text);

/// How many characters isEntryHead has looked at; 0 when it is none.
std::size_t entryHeadLength(std::string_view text);

/// "GetInfo" of "[GetInfo] begin"; empty for any other line.
std::string_view begunMember(std::string_view text);

/// The number at the end of a response's line.
std::optional<int> resultOf(std::string_view text);

} // namespace pdactl::log
