#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace pdactl::log {

/** What a log line tells of a message or of a request. */
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

/** A line that carries text from outside. */
struct TrafficLine {
    LineKind kind = LineKind::Other;
    std::size_t payload = 0; ///< where the text from outside begins
};

/** Looks at no more than the beginning of a text. */
TrafficLine trafficLine(std::string_view text);

/** The payload less what the library wrote behind it. */
std::string_view payloadOf(std::string_view text, TrafficLine line);

/**
 * Where an entry's text ends according to the lengths that it declares itself, in `bytes` from `begin` on:
 * at a line end behind which the next entry begins, or at the end of the bytes. npos when it declares none
 * or a wrong one; `needsMore` is set when only more bytes can tell.
 */
std::size_t declaredEnd(std::string_view bytes, std::size_t begin, bool& needsMore);

/** Whether an entry begins here: a stamp and a level word. */
bool isEntryHead(std::string_view text);

/** How many characters isEntryHead has looked at; 0 when it is none. */
std::size_t entryHeadLength(std::string_view text);

} // namespace pdactl::log
