#include "core/BodyReader.h"

#include "core/Texts.h"

#include <optional>
#include <utility>

namespace pdasim {

namespace {

std::string opening(std::string_view name) {
    return "<" + std::string(name) + ">";
}

std::string closing(std::string_view name) {
    return "</" + std::string(name) + ">";
}

/** Takes the text from the front of the rest; false when it does not stand there. */
bool takeText(std::string_view& rest, std::string_view text) {
    if (rest.substr(0, text.size()) != text) {
        return false;
    }
    rest.remove_prefix(text.size());
    return true;
}

/**
 * Takes a tag from the front of the rest.
 *
 * Values are not escaped, so a value may contain anything, even its own closing tag; what ends it is the
 * closing tag in front of the follower, or, when nothing follows, of the message's end.
 */
std::optional<std::string> takeTag(std::string_view& rest, std::string_view name, std::string_view follower) {
    const std::string open = opening(name);
    const std::string close = closing(name);
    std::string_view value = rest;
    if (!takeText(value, open)) {
        return std::nullopt;
    }
    std::size_t end = std::string_view::npos;
    if (!follower.empty()) {
        end = value.find(close + std::string(follower));
    } else if (value.size() >= close.size() && value.substr(value.size() - close.size()) == close) {
        end = value.size() - close.size();
    }
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    rest = value.substr(end + close.size());
    return std::string(value.substr(0, end));
}

/** A run of tags and what ends it; an empty end is the message's. Gives what is wrong. */
std::string takeTags(std::string_view& rest, const std::vector<RequestTag>& wanted, std::string_view end,
                     Tags& tags) {
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        const std::string follower = i + 1 < wanted.size() ? opening(wanted[i + 1].name) : std::string(end);
        auto value = takeTag(rest, wanted[i].name, follower);
        if (!value) {
            return "expected the tag " + opening(wanted[i].name) + " and then " +
                   (follower.empty() ? "the end" : follower) + ", found " + quoted(rest);
        }
        tags.push_back({std::string(wanted[i].name), std::move(*value)});
    }
    return {};
}

std::string takeGroup(std::string_view& rest, const MessageRow& row, std::vector<Tags>& groups) {
    if (!takeText(rest, GroupOpening)) {
        return "expected " + std::string(GroupOpening) + " or the end, found " + quoted(rest);
    }
    std::string violation = takeTags(rest, row.groupTags, GroupClosing, groups.emplace_back());
    (void)takeText(rest, GroupClosing);
    return violation;
}

} // namespace

BodyReading readBody(std::string_view text, const MessageRow& row) {
    BodyReading body;
    const bool hasGroups = !row.groupTags.empty() && text.find(GroupOpening) != std::string_view::npos;
    body.violation = takeTags(text, row.tags, hasGroups ? GroupOpening : std::string_view(), body.tags);
    while (body.isWhole() && hasGroups && !text.empty()) {
        body.violation = takeGroup(text, row, body.groups);
    }
    if (body.isWhole() && !text.empty()) {
        body.violation = "expected the end, found " + quoted(text);
    }
    return body;
}

std::optional<std::string> takePlainTag(std::string_view& rest, std::string_view name) {
    const std::string open = opening(name);
    const std::string close = closing(name);
    const std::size_t end = rest.find('<', open.size());
    if (rest.substr(0, open.size()) != open || end == std::string_view::npos ||
        rest.substr(end, close.size()) != close) {
        return std::nullopt;
    }
    const std::string value(rest.substr(open.size(), end - open.size()));
    rest.remove_prefix(end + close.size());
    return value;
}

} // namespace pdasim
