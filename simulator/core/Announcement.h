#pragma once

#include "core/Message.h"
#include "core/TerminalState.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace pdasim {

enum class Announced { ScannedLabel, LoginRecord, UserNotice, InventoryRecord, DotHandover, PowerHandover };

std::string_view typeOf(Announced kind);
std::string_view nameOf(Announced kind);
/// What a terminal's message of the type is; nothing for types that it does not start.
std::optional<Announced> announcedBy(std::string_view type);

/// A message that the terminal starts. Time, sequence number and the terminal's own number (Ex_PdaSn) are put
/// in front of its tags when it goes out.
struct Announcement {
    Announced kind;
    Tags tags;
    /// Values that tags of the finished message get.
    Tags changes = {};

    Announcement& with(std::string name, std::string value) {
        changes.push_back({std::move(name), std::move(value)});
        return *this;
    }
};

Announcement scannedLabel(const std::string& label);
Announcement loginRecord(const Confirmation& user);
Announcement userNotice(const std::string& userName);
Announcement inventoryRecord(const InventoryResult& result);
Announcement dotHandoverRecord(const std::string& road, const HandoverResult& result);
Announcement powerHandoverRecord(const std::string& batch, const HandoverResult& result);

/// A host's response to an announcement: an acknowledgement, or the result of a login.
struct Acknowledgement {
    std::string type;
    Announced kind;
    /// The Ex_SeqNo of the oldest announcement of its kind without a response so far; empty without any.
    std::string answers;
    Tags tags;
};

/// Puts announcements together and matches the responses to them.
class Announcements {
public:
    /// The bytes of the message.
    std::string compose(const Announcement& announcement, std::string_view localTime,
                        const std::string& number);

    /// A response of a host; what it does against the rules is added.
    void take(Announced kind, const ParsedMessage& response, std::vector<std::string>& violations);

    const std::vector<Acknowledgement>& acknowledgements() const { return m_acknowledgements; }

private:
    struct Pending {
        Announced kind;
        std::string sequence;
        std::string number;
    };

    int m_sequence = 0;
    std::vector<Pending> m_pending;
    std::vector<Acknowledgement> m_acknowledgements;
};

} // namespace pdasim
