#include "core/TagNames.h"

#include "core/MessageTable.h"
#include "core/Terminal.h"

#include <algorithm>

namespace pdasim {

namespace {

/** A file, packet or lock that goes by this is there for the asking. */
constexpr const char* SampleValue = "0";

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
        tags.push_back({std::string(tag.name), SampleValue});
    }
    return tags;
}

/** What the terminal answers when it has what it is asked for, so that no tag is missing. */
Tags sampleReply(const MessageRow& row) {
    TerminalState state;
    state.locks.emplace_back().id = SampleValue;
    state.files.offered.emplace(0, SampleValue);
    const Request request = {{std::string(row.type), SampleValue, sampleOf(row.tags), {}}, {}};
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

} // namespace

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

} // namespace pdasim
