#include "core/Announcement.h"

#include "core/Texts.h"
#include "core/messages/Answers.h"

#include <algorithm>
#include <array>

namespace pdasim {

namespace {

struct AnnouncementRow {
    Announced kind;
    std::string_view type;
    std::string_view name;
};

constexpr std::array<AnnouncementRow, 6> kRows = {{
    {Announced::ScannedLabel, "9001", "scanned label"},
    {Announced::LoginRecord, "9002", "login record"},
    {Announced::UserNotice, "9003", "user notice"},
    {Announced::InventoryRecord, "9004", "inventory record"},
    {Announced::DotHandover, "9005", "dot handover record"},
    {Announced::PowerHandover, "9006", "power handover record"},
}};

const AnnouncementRow& rowOf(Announced kind) {
    return *std::find_if(kRows.begin(), kRows.end(),
                         [kind](const AnnouncementRow& row) { return row.kind == kind; });
}

Announcement handoverRecord(Announced kind, Tag subject, const HandoverResult& result) {
    Tags tags = {std::move(subject),
                 {"Ex_Time", result.time},
                 {"Ex_LabelNum", std::to_string(result.labels.size())},
                 {"Ex_ErrLabel", listText(result.errorLabels)}};
    addParties(tags, result);
    return {kind, std::move(tags)};
}

/// A host has no use for what the terminal knows already, and does not send it back.
void expectNoEcho(const ParsedMessage& response, std::string_view name, const std::string& announced,
                  std::vector<std::string>& violations) {
    if (response.value(name) == announced) {
        violations.push_back(std::string(name) + " holds the value " + quoted(announced) +
                             " of the message that is acknowledged");
    }
}

} // namespace

std::string_view typeOf(Announced kind) {
    return rowOf(kind).type;
}

std::string_view nameOf(Announced kind) {
    return rowOf(kind).name;
}

std::optional<Announced> announcedBy(std::string_view type) {
    const auto found = std::find_if(kRows.begin(), kRows.end(),
                                    [type](const AnnouncementRow& row) { return row.type == type; });
    return found == kRows.end() ? std::nullopt : std::optional(found->kind);
}

Announcement scannedLabel(const std::string& label) {
    return {Announced::ScannedLabel, {{"Ex_Label", label}}};
}

Announcement loginRecord(const Confirmation& user) {
    Announcement record = {Announced::LoginRecord, {}};
    addConfirmation(record.tags, "Ex_", user);
    return record;
}

Announcement userNotice(const std::string& userName) {
    return {Announced::UserNotice, {{"Ex_UserNm", userName}}};
}

Announcement inventoryRecord(const InventoryResult& result) {
    Announcement record = {Announced::InventoryRecord,
                           {{"Ex_Total", std::to_string(result.labels.size())},
                            {"Ex_Label", listText(result.labels)},
                            {"Ex_ErrLabel", listText(result.errorLabels)}}};
    addConfirmation(record.tags, "Ex_", result.confirmation);
    return record;
}

Announcement dotHandoverRecord(const std::string& road, const HandoverResult& result) {
    return handoverRecord(Announced::DotHandover, {"Ex_Road", road}, result);
}

Announcement powerHandoverRecord(const std::string& batch, const HandoverResult& result) {
    return handoverRecord(Announced::PowerHandover, {"Ex_BatchNb", batch}, result);
}

std::string Announcements::compose(const Announcement& announcement, std::string_view localTime,
                                   const std::string& number) {
    const std::string sequence = sequenceText(++m_sequence);
    Tags tags = {{"Ex_TrTime", std::string(localTime)}, {"Ex_SeqNo", sequence}, {"Ex_PdaSn", number}};
    tags.insert(tags.end(), announcement.tags.begin(), announcement.tags.end());
    for (const Tag& change : announcement.changes) {
        setTag(tags, change.name, change.value);
    }
    m_pending.push_back(
        {announcement.kind, findTag(tags, "Ex_SeqNo")->value, findTag(tags, "Ex_PdaSn")->value});
    return composeMessage(typeOf(announcement.kind), tags);
}

void Announcements::take(Announced kind, const ParsedMessage& response,
                         std::vector<std::string>& violations) {
    const auto announced = std::find_if(m_pending.begin(), m_pending.end(),
                                        [kind](const Pending& pending) { return pending.kind == kind; });
    if (announced == m_pending.end()) {
        m_acknowledgements.push_back({response.type, kind, {}, response.tags});
        return;
    }
    m_acknowledgements.push_back({response.type, kind, announced->sequence, response.tags});
    if (kind != Announced::LoginRecord) {
        expectNoEcho(response, "Ex_SrcSeqNo", announced->sequence, violations);
        expectNoEcho(response, "Ex_PdaSn", announced->number, violations);
    }
    m_pending.erase(announced);
}

} // namespace pdasim
