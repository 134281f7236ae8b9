#pragma once

#include "core/Announcement.h"
#include "core/Message.h"
#include "core/TerminalState.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pdasim {

/// A body tag that a host has to send.
struct RequestTag {
    /// Not explicit: most rows are mere lists of names.
    constexpr RequestTag(const char* text) : name(text) {}

    std::string_view name;
    /// Its value is written as "%d" writes it.
    bool isNumber = false;
};

constexpr RequestTag number(const char* name) {
    RequestTag tag(name);
    tag.isNumber = true;
    return tag;
}

/// What the length field of a message counts.
enum class LengthUnit { Characters, Bytes };

/// One kind of message that a host may send, and how the terminal answers it.
struct MessageRow {
    std::string_view type;
    /// What people call it; only for traces and violations.
    std::string_view name;
    /// The body tags after Ex_TrTime and Ex_SeqNo, in the only order the terminal accepts.
    std::vector<RequestTag> tags;
    /// Acts on the terminal's state and says what to answer. Null when the terminal does not answer.
    Reply (*answer)(const Request& request, TerminalState& state) = nullptr;
    /// Adds what the message does against the rules of its own kind.
    void (*check)(const ParsedMessage& message, std::vector<std::string>& violations) = nullptr;
    /// What the message responds to, if the terminal began.
    std::optional<Announced> respondsTo = std::nullopt;
    LengthUnit lengthUnit = LengthUnit::Characters;
    /// The tags of each group of locks, if groups follow the others.
    std::vector<RequestTag> groupTags = {};
};

const std::vector<MessageRow>& messageRows();

/// The rows of a message type; none for a type that the terminal does not know. Two messages share one type.
std::vector<const MessageRow*> findMessageRows(std::string_view type);

// What messages of a type, or of Terminal::AnyType, hold; each name once.

/// The tags of a host's message after Ex_SeqNo, those of its locks included.
std::vector<std::string> requestTagNames(std::string_view type);

/// The tags of the replies, those of their locks not included; none when the terminal does not answer.
std::vector<std::string> replyTagNames(std::string_view type);

enum class Sender { Host, Terminal };

/// A message as one line for people: type, name, size, then the tags as name=value.
///
/// What does not look like a message is shown as printable text.
std::string describeMessage(std::string_view bytes, Sender sender);

} // namespace pdasim
