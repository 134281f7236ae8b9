#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

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
    std::size_t payload = 0;    ///< where the text from outside begins
    std::string_view tail = {}; ///< what the library writes after it, "#" for a number

    bool isJson() const { return kind == LineKind::Request || kind == LineKind::Response; }
    bool isMessage() const { return kind != LineKind::Other && !isJson(); }
};

/// Looks at no more than the beginning of a text.
TrafficLine trafficLine(std::string_view text);

/// The payload without what the library wrote after it.
std::string_view payloadOf(std::string_view text, TrafficLine line);

/// How long a line's tail is that begins here; 0 when something else does.
std::size_t tailLength(std::string_view text, std::string_view tail);

/// Whether text ends with what the library writes after a request or after a response.
bool hasJsonTail(std::string_view text);

/// Whether the header of a message begins here, and its first tag, a mask or nothing follows it.
bool beginsMessage(std::string_view text);

/// The length that a message says it has, header included, when the digits of a length and a type begin here.
std::optional<std::size_t> declaredLength(std::string_view text);

/// How many bytes a message's header has.
constexpr std::size_t kMessageHeader = 50;

} // namespace pdactl::log
