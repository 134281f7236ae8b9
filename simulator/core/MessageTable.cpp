#include "core/MessageTable.h"

#include "core/Terminal.h"
#include "core/Texts.h"
#include "core/messages/Answers.h"

#include <algorithm>
#include <optional>

namespace pdasim {

namespace {

/// A host acknowledges nothing but success.
void checkSuccess(const ParsedMessage& message, std::vector<std::string>& violations) {
    const auto expect = [&](std::string_view name, std::string_view expected) {
        const Tag* tag = findTag(message.tags, name);
        if (tag != nullptr && tag->value != expected) {
            violations.push_back(tag->name + " is " + quoted(tag->value) + " instead of " + quoted(expected));
        }
    };
    expect("Ex_RetCode", code::Accepted);
    expect("Ex_ScanState", "1");
}

/// A message that only responds to one of the terminal's.
MessageRow response(std::string_view type, std::string_view name, Announced respondsTo,
                    std::vector<RequestTag> tags) {
    MessageRow row = {type, name, std::move(tags)};
    row.respondsTo = respondsTo;
    if (respondsTo != Announced::LoginRecord) {
        row.check = checkSuccess;
    }
    return row;
}

/// A file, packet or lock that goes by this is there for the asking.
constexpr const char* kSampleValue = "0";

std::vector<const MessageRow*> rowsOf(std::string_view type) {
    if (type != Terminal::AnyType) {
        return findMessageRows(type);
    }
    std::vector<const MessageRow*> all;
    for (const MessageRow& row : messageRows()) {
        all.push_back(&row);
    }
    return all;
}

Tags sampleOf(const std::vector<RequestTag>& wanted) {
    Tags tags;
    for (const RequestTag& tag : wanted) {
        tags.push_back({std::string(tag.name), kSampleValue});
    }
    return tags;
}

/// What the terminal answers when it has what it is asked for, so that no tag is missing.
Tags sampleReply(const MessageRow& row) {
    TerminalState state;
    state.locks.emplace_back().id = kSampleValue;
    state.files.offered.emplace(0, kSampleValue);
    const Request request = {{std::string(row.type), kSampleValue, sampleOf(row.tags), {}}, {}};
    Tags tags = frontOfReply(request);
    const Reply reply = row.answer(request, state);
    tags.insert(tags.end(), reply.tags.begin(), reply.tags.end());
    return tags;
}

void addOnce(std::vector<std::string>& names, const Tags& tags) {
    for (const Tag& tag : tags) {
        if (std::find(names.begin(), names.end(), tag.name) == names.end()) {
            names.push_back(tag.name);
        }
    }
}

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

// clang-format off
const std::vector<MessageRow>& messageRows() {
    static const std::vector<MessageRow> rows = [] {
        std::vector<MessageRow> all = {
            response("9001", "scanned label acknowledged", Announced::ScannedLabel,
                     {"Ex_SrcSeqNo", "Ex_PdaSn", "Ex_RetCode", "Ex_ScanState"}),
            response("9001", "user notice acknowledged", Announced::UserNotice,
                     {"Ex_SrcSeqNo", "Ex_RetCode", "Ex_PdaSn"}),
            response("9002", "login result", Announced::LoginRecord, {"Ex_PdaSn", "Ex_RetCode"}),
            response("9004", "inventory record acknowledged", Announced::InventoryRecord, {"Ex_SrcSeqNo", "Ex_RetCode"}),
            response("9005", "dot handover acknowledged", Announced::DotHandover, {"Ex_SrcSeqNo", "Ex_RetCode"}),
            response("9006", "power handover acknowledged", Announced::PowerHandover,
                     {"Ex_SrcSeqNo", "Ex_PdaSn", "Ex_RetCode"}),
        };
        for (const auto& family : {lockRows(), fileRows(), bagRows(), terminalDataRows()}) {
            all.insert(all.begin(), family.begin(), family.end());
        }
        return all;
    }();
    return rows;
}
// clang-format on

std::vector<const MessageRow*> findMessageRows(std::string_view type) {
    std::vector<const MessageRow*> found;
    for (const MessageRow& row : messageRows()) {
        if (row.type == type) {
            found.push_back(&row);
        }
    }
    return found;
}

std::vector<std::string> requestTagNames(std::string_view type) {
    std::vector<std::string> names;
    for (const MessageRow* row : rowsOf(type)) {
        addOnce(names, sampleOf(row->tags));
        addOnce(names, sampleOf(row->groupTags));
    }
    return names;
}

std::vector<std::string> replyTagNames(std::string_view type) {
    std::vector<std::string> names;
    for (const MessageRow* row : rowsOf(type)) {
        if (row->answer != nullptr) {
            addOnce(names, sampleReply(*row));
        }
    }
    return names;
}

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
