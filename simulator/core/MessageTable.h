#pragma once

#include "core/Message.h"
#include "core/TerminalState.h"

#include <string_view>
#include <vector>

namespace pdasim {

/** One kind of message that a host may send, and how the terminal answers it. */
struct MessageRow {
    std::string_view type;
    /** What people call it; only for traces and violations. */
    std::string_view name;
    /** The body tags behind Ex_TrTime and Ex_SeqNo, in the only order the terminal accepts. */
    std::vector<std::string_view> requestTags;
    /** Acts on the terminal's state and gives the reply's body tags in order. */
    std::vector<Tag> (*answer)(const std::vector<Tag>& requestBody, TerminalState& state);
};

/** The row of a message type; null for a type that the terminal does not know. */
const MessageRow* findMessageRow(std::string_view type);

} // namespace pdasim
