#pragma once

#include "core/Message.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace pdasim {

/// What goes wrong with one kind of message.
///
/// The calls describe the fault and can be combined, as in `Fault().delay(200ms).replyType("8002").always()`.
/// Without once(), times() or always() a fault strikes once; without from() it begins with the next message
/// of its kind. Changes to the reply are made in the order in which they are told.
class Fault {
public:
    /// The terminal takes the message and never answers.
    Fault& silence();
    /// The reply comes later by the time.
    Fault& delay(std::chrono::milliseconds time);
    /// The reply carries another message type.
    Fault& replyType(std::string type);
    /// The reply comes in N pieces of about one length, each in reports of its own, with pauses
    /// between.
    Fault& split(std::size_t pieces, std::chrono::milliseconds pause);
    /// The reply comes twice, back to back.
    Fault& repeatReply();
    /// Another text follows the reply back to back.
    Fault& followedBy(std::string text);
    /// The device goes before its reply, which is lost, and comes back after the time if one is given.
    Fault& unplugBeforeReply(std::optional<std::chrono::milliseconds> replugAfter = std::nullopt);
    /// The device goes once its reply is out, and comes back after the time if one is given.
    Fault& unplugAfterReply(std::optional<std::chrono::milliseconds> replugAfter = std::nullopt);
    /// The host's write returns this number of bytes; the terminal does not answer half a message.
    Fault& shortWrite(std::size_t bytes);
    /// The host's write fails with this errno; the terminal never sees the message.
    Fault& refuseWrite(int error);

    /// The terminal does nothing but answer with this code; the reply's other tags are as ever.
    Fault& refuse(std::string returnCode);
    /// The terminal reads another value in a tag of the request.
    Fault& misread(std::string name, std::string value);
    /// The reply lacks a tag.
    Fault& dropTag(std::string name);
    /// A tag of the reply holds these bytes, whatever they are; a tag that the reply lacks is appended.
    Fault& setTag(std::string name, std::string value);
    /// The same in one entry, counted from 0, of a list of locks; nothing when the list is shorter.
    Fault& dropLockTag(std::size_t entry, std::string name);
    Fault& setLockTag(std::size_t entry, std::string name, std::string value);
    /// The list of locks begins anew until it has N entries; the number of locks is as ever.
    Fault& growLockList(std::size_t entries);
    /// A packet of a file comes whichever was asked for.
    Fault& answerPacket(int number);
    /// Behind every packet of the file there is another one, each with the text of the first.
    Fault& endlessFile();
    /// The check of a packet is that of other data.
    Fault& wrongCheck();
    /// The check of a packet is in upper-case digits; make sure that it has letters.
    Fault& upperCaseCheck();
    /// This text, byte for byte, is the reply (still sent in padded reports).
    Fault& rawReply(std::string text);

    /// Only messages of which this is true are of the fault's kind; two conditions have to hold both.
    Fault& when(std::function<bool(const ParsedMessage&)> condition);
    /// The first message to be met is the Nth of its kind from now on, counted from 1.
    Fault& from(std::size_t message);
    Fault& once();
    Fault& times(std::size_t count);
    Fault& always();

private:
    friend class Terminal;

    using Change = std::function<void(Reply& reply, const Request& request)>;
    enum class Unplugging { Never, BeforeReply, AfterReply };

    bool concerns(const ParsedMessage& message) const;

    std::vector<std::function<bool(const ParsedMessage&)>> m_conditions;
    bool m_silent = false;
    std::chrono::milliseconds m_delay{0};
    std::optional<std::string> m_replyType;
    std::size_t m_pieces = 1;
    std::chrono::milliseconds m_pause{0};
    bool m_repeatsReply = false;
    std::optional<std::string> m_follower;
    Unplugging m_unplugging = Unplugging::Never;
    std::optional<std::chrono::milliseconds> m_replugAfter;
    std::optional<std::size_t> m_shortWrite;
    int m_writeError = 0;
    bool m_refuses = false;
    Tags m_misreadings;
    std::vector<Change> m_changes;
    std::optional<std::string> m_rawReply;
    std::size_t m_letThrough = 0;
    std::size_t m_remaining = 1;
};

} // namespace pdasim
