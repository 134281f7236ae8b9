#pragma once

#include "core/MessageTable.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pdasim {

/// What a host's message turned out to be.
struct CheckedMessage {
    /// Its body is complete only when the message keeps to its row.
    ParsedMessage message;
    /// Null when the type is unknown.
    const MessageRow* row = nullptr;
    bool bodyIsWhole = false;
    /// Everything that the message does against the protocol, one text each.
    std::vector<std::string> violations;
};

/// Holds every message that the host sends against the protocol, and remembers the sequence numbers.
class MessageChecker {
public:
    CheckedMessage check(std::string_view bytes);

    /// Lets the next sequence number be 1 or jump ahead: the host may have been started anew, or may have
    /// used up numbers on messages that could not reach the terminal.
    void allowSequenceGap();

private:
    void checkSequence(CheckedMessage& checked);

    std::optional<std::int32_t> m_lastSequence;
    bool m_gapAllowed = false;
};

} // namespace pdasim
