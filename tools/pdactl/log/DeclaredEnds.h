#pragma once

#include "log/Traffic.h"

#include <cstddef>
#include <string_view>
#include <vector>

namespace pdactl::log {

/// Finds a position by the number of characters before it, without going through the text for each.
class CharacterIndex {
public:
    explicit CharacterIndex(std::string_view text) : m_text(text) {}

    /// The position this many UTF-16 units after one at which a character begins; kNone beyond the text's
    /// end.
    std::size_t after(std::size_t begin, std::size_t units);

private:
    struct Mark {
        std::size_t position = 0;
        std::size_t units = 0; ///< before it
    };

    void step(Mark& mark) const;

    std::string_view m_text;
    std::vector<Mark> m_marks{Mark{}}; ///< about evenly spaced, as far as the text has been looked through
};

/// Where entries of a log end according to the lengths that they declare themselves.
class DeclaredEnds {
public:
    explicit DeclaredEnds(std::string_view bytes) : m_bytes(bytes), m_characters(bytes) {}

    /// Where the text of an entry ends that begins here: at a line end after which the next entry begins, or
    /// at the end of the bytes. kNone when it declares no length or a wrong one; `needsMore` is set when only
    /// more bytes can tell.
    std::size_t of(std::size_t begin, bool& needsMore);

private:
    std::size_t ofMessages(std::size_t begin, LineKind kind, bool inBytes, bool& needsMore);
    std::size_t ofRequest(std::size_t begin);
    std::size_t requestTail(std::size_t begin);

    std::string_view m_bytes;
    CharacterIndex m_characters;
    std::vector<std::size_t> m_tails; ///< where what is written after a request begins, as far as looked for
    std::size_t m_searched = 0;
};

/// Whether these are messages one after the other, as long as they say in characters or in bytes.
bool areWholeMessages(std::string_view text);

} // namespace pdactl::log
