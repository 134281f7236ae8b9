#include "core/Traffic.h"

#include "core/MessageTable.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace pdasim {

namespace {

/// The tags of a well-formed run of them; nothing when something else is between or after them.
std::optional<Tags> readTags(std::string_view text) {
    Tags tags;
    while (!text.empty()) {
        const std::size_t nameEnd = text.find('>');
        if (text.front() != '<' || nameEnd == std::string_view::npos) {
            return std::nullopt;
        }
        const std::string name(text.substr(1, nameEnd - 1));
        const std::string close = "</" + name + ">";
        const std::size_t valueEnd = text.find(close, nameEnd + 1);
        if (valueEnd == std::string_view::npos) {
            return std::nullopt;
        }
        tags.push_back({name, std::string(text.substr(nameEnd + 1, valueEnd - nameEnd - 1))});
        text.remove_prefix(valueEnd + close.size());
    }
    return tags;
}

bool isRunOf(const MessageRow& row, const Tags& tags) {
    constexpr std::size_t kFront = 2;
    return tags.size() >= kFront + row.tags.size() &&
           std::equal(row.tags.begin(), row.tags.end(), tags.begin() + kFront,
                      [](const RequestTag& wanted, const Tag& tag) { return wanted.name == tag.name; });
}

/// What people call the message. Where both sides use a type for different things, the sender decides.
std::string_view nameOf(std::string_view type, const Tags& tags, Sender sender) {
    const auto announced = announcedBy(type);
    if (sender == Sender::Terminal && announced) {
        return nameOf(*announced);
    }
    const std::vector<const MessageRow*> rows = findMessageRows(type);
    if (rows.empty()) {
        return "unknown message";
    }
    const auto fitting = std::find_if(rows.begin(), rows.end(),
                                      [&tags](const MessageRow* row) { return isRunOf(*row, tags); });
    return (fitting == rows.end() ? rows.front() : *fitting)->name;
}

} // namespace

std::string describeMessage(std::string_view bytes, Sender sender) {
    const auto tags = bytes.size() < header::kSize ? std::nullopt : readTags(bytes.substr(header::kSize));
    if (!tags) {
        return std::to_string(bytes.size()) + " bytes: " + printable(bytes);
    }
    const std::string_view type = bytes.substr(header::kTypeOffset, header::kTypeWidth);
    std::string line = printable(type);
    line.append(" ").append(nameOf(type, *tags, sender));
    line.append(" (").append(std::to_string(bytes.size())).append(" bytes)");
    for (const Tag& tag : *tags) {
        line.append(" ").append(printable(tag.name)).append("=").append(printable(tag.value));
    }
    return line;
}

} // namespace pdasim
