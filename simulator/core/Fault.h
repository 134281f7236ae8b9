#pragma once

#include "core/Message.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace pdasim {

/// What goes wrong with one kind of message.
///
/// The calls describe the fault and can be combined, as in `Fault().delay(200ms).replyType("8002").always()`.
/// Without times() or always() a fault strikes once; without from() it begins with the next message
/// of its kind. Changes to the reply are made in the order in which they are told.
class Fault {
public:
    using Milliseconds = std::chrono::milliseconds;

    /// The terminal takes the message and never answers.
    Fault& silence() { return set(m_silent, true); }
    /// The reply comes later by the time.
    Fault& delay(Milliseconds time) { return set(m_delay, time); }
    /// The reply carries another message type.
    Fault& replyType(const std::string& type) { return set(m_replyType, type); }
    /// The reply comes in N pieces of about one length, each in reports of its own, with pauses
    /// between.
    Fault& split(std::size_t pieces, Milliseconds pause) { return set(m_pieces, pieces).set(m_pause, pause); }
    /// The reply comes twice, back to back.
    Fault& repeatReply() { return set(m_repeatsReply, true); }
    /// The device goes before its reply, which is lost, and comes back after the time if one is given.
    Fault& unplugBeforeReply(std::optional<Milliseconds> replugAfter = std::nullopt) {
        return set(m_unplugging, Unplugging::BeforeReply).set(m_replugAfter, replugAfter);
    }
    /// The device goes once its reply is out, and comes back after the time if one is given.
    Fault& unplugAfterReply(std::optional<Milliseconds> replugAfter = std::nullopt) {
        return set(m_unplugging, Unplugging::AfterReply).set(m_replugAfter, replugAfter);
    }
    /// The host's write returns this number of bytes; the terminal does not answer half a message.
    Fault& shortWrite(std::size_t bytes) { return set(m_shortWrite, bytes); }
    /// The host's write fails with this errno; the terminal never sees the message.
    Fault& refuseWrite(int error) { return set(m_writeError, error); }

    /// The terminal does nothing but answer with this code; the reply's other tags are as ever.
    Fault& refuse(const std::string& code) { return set(m_refuses, true).setTag("Ex_RetCode", code); }
    /// The reply lacks a tag.
    Fault& dropTag(const std::string& name);
    /// A tag of the reply holds these bytes, whatever they are; a tag that the reply lacks is appended.
    Fault& setTag(const std::string& name, const std::string& value);
    /// A packet of a file comes whichever was asked for.
    Fault& answerPacket(int number) { return set(m_packet, number); }
    /// The check of a packet is that of other data.
    Fault& wrongCheck();
    /// This text, byte for byte, is the reply (still sent in padded reports).
    Fault& rawReply(const std::string& text) { return set(m_rawReply, text); }

    /// Only messages of which this is true are of the fault's kind.
    Fault& when(std::function<bool(const ParsedMessage&)> condition) {
        return set(m_condition, std::move(condition));
    }
    /// The first message to be met is the Nth of its kind from now on, counted from 1.
    Fault& from(std::size_t message) { return set(m_letThrough, message - 1); }
    Fault& times(std::size_t count) { return set(m_remaining, count); }
    Fault& always() { return times(std::numeric_limits<std::size_t>::max()); }

private:
    friend class Terminal;

    enum class Unplugging { Never, BeforeReply, AfterReply };

    template <typename Member, typename Value>
    Fault& set(Member& member, Value&& value) {
        member = std::forward<Value>(value);
        return *this;
    }

    std::function<bool(const ParsedMessage&)> m_condition;
    bool m_silent = false;
    Milliseconds m_delay{0};
    std::optional<std::string> m_replyType;
    std::size_t m_pieces = 1;
    Milliseconds m_pause{0};
    bool m_repeatsReply = false;
    Unplugging m_unplugging = Unplugging::Never;
    std::optional<Milliseconds> m_replugAfter;
    std::optional<std::size_t> m_shortWrite;
    int m_writeError = 0;
    bool m_refuses = false;
    std::optional<int> m_packet;
    std::vector<std::function<void(Tags& reply)>> m_changes;
    std::optional<std::string> m_rawReply;
    std::size_t m_letThrough = 0;
    std::size_t m_remaining = 1;
};

} // namespace pdasim
