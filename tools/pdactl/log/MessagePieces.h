#pragma once

#include "log/SecretSearch.h"

#include <string>
#include <string_view>
#include <vector>

namespace pdactl::log {

/// What a channel brought, in the pieces in which it was logged.
///
/// Nobody knows what a piece is part of that is not a whole message: the tag that would tell may be in
/// another piece, or lost. So of such a piece only headers, tags of secrets and whole elements under harmless
/// names may be shown.
class MessagePieces {
public:
    /// What may not be shown of the next piece.
    std::vector<Range> add(std::string_view piece);

    /// The next piece begins within the value of this tag; its name in lower case.
    void beginWithin(const std::string& secret) {
        m_secret = secret;
        m_isBroken = !secret.empty();
    }

    /// Whether the last piece was not a whole message.
    bool isBroken() const { return m_isBroken; }

private:
    class Scan;

    std::string m_tail;   ///< the beginning of a tag, which the next piece may go on with
    std::string m_secret; ///< the tag whose value the next piece may go on with, in lower case
    bool m_isBroken = false;
};

/// Whether there is a closing tag of any name.
bool hasClosingTag(std::string_view text);

} // namespace pdactl::log
