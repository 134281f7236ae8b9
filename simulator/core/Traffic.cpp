#include "core/Traffic.h"

#include "core/MessageTable.h"

#include <optional>
#include <vector>

namespace pdasim {

namespace {

/** The tags of a well-formed run of them; nothing when something else stands between or behind them. */
std::optional<std::vector<Tag>> readTags(std::string_view text) {
    std::vector<Tag> tags;
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

} // namespace

std::string describeMessage(std::string_view bytes) {
    const auto tags = bytes.size() < header::Size ? std::nullopt : readTags(bytes.substr(header::Size));
    if (!tags) {
        return std::to_string(bytes.size()) + " bytes: " + printable(bytes);
    }
    const std::string_view type = bytes.substr(header::TypeOffset, header::TypeWidth);
    const MessageRow* row = findMessageRow(type);
    std::string line = printable(type);
    line.append(" ").append(row == nullptr ? "unknown message" : row->name);
    line.append(" (").append(std::to_string(bytes.size())).append(" bytes)");
    for (const Tag& tag : *tags) {
        line.append(" ").append(printable(tag.name)).append("=").append(printable(tag.value));
    }
    return line;
}

} // namespace pdasim
