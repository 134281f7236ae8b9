#include "core/MessageChecker.h"

#include "core/Texts.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <limits>
#include <utility>

namespace pdasim {

namespace {

constexpr std::string_view kTimeTag = "Ex_TrTime";
constexpr std::string_view kSequenceTag = "Ex_SeqNo";
constexpr std::size_t kTimeDigits = 14;

/// What was found after a message's sequence number.
struct BodyReading {
    Tags tags;
    std::vector<Tags> groups;
    /// What does not belong there; empty when the body is whole.
    std::string violation;

    bool isWhole() const { return violation.empty(); }
};

std::string opening(std::string_view name) {
    return "<" + std::string(name) + ">";
}

std::string closing(std::string_view name) {
    return "</" + std::string(name) + ">";
}

/// Takes the text from the front of the rest; false when it is not there.
bool takeText(std::string_view& rest, std::string_view text) {
    if (rest.substr(0, text.size()) != text) {
        return false;
    }
    rest.remove_prefix(text.size());
    return true;
}

/// Takes a tag from the front of the rest.
///
/// Values are not escaped, so a value may contain anything, even its own closing tag; what ends it is the
/// closing tag in front of the follower, or, when nothing follows, of the message's end.
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

/// A run of tags and what ends it; an empty end is the message's. Gives what is wrong.
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
    if (!takeText(rest, kGroupOpening)) {
        return "expected " + std::string(kGroupOpening) + " or the end, found " + quoted(rest);
    }
    std::string violation = takeTags(rest, row.groupTags, kGroupClosing, groups.emplace_back());
    (void)takeText(rest, kGroupClosing);
    return violation;
}

/// Takes a body apart as the row lays it down.
BodyReading readBody(std::string_view text, const MessageRow& row) {
    BodyReading body;
    const bool hasGroups = !row.groupTags.empty() && text.find(kGroupOpening) != std::string_view::npos;
    body.violation = takeTags(text, row.tags, hasGroups ? kGroupOpening : std::string_view(), body.tags);
    while (body.isWhole() && hasGroups && !text.empty()) {
        body.violation = takeGroup(text, row, body.groups);
    }
    if (body.isWhole() && !text.empty()) {
        body.violation = "expected the end, found " + quoted(text);
    }
    return body;
}

/// Takes a tag whose value holds no "<" from the front of the rest.
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

bool isDigits(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::string sixDigits(std::size_t value) {
    std::array<char, 32> text{};
    (void)std::snprintf(text.data(), text.size(), "%06zu", value);
    return text.data();
}

void expectConstant(std::string_view bytes, std::size_t offset, std::string_view expected,
                    std::vector<std::string>& violations) {
    const std::string_view found = bytes.substr(offset, expected.size());
    if (found != expected) {
        violations.push_back("header at offset " + std::to_string(offset) + " holds " + quoted(found) +
                             " instead of " + quoted(expected));
    }
}

void checkHeader(std::string_view bytes, LengthUnit unit, std::vector<std::string>& violations) {
    const std::string_view length = bytes.substr(header::kLengthOffset, header::kLengthWidth);
    const bool inBytes = unit == LengthUnit::Bytes;
    const std::string expected = sixDigits(inBytes ? bytes.size() : lengthInCharacters(bytes));
    if (length != expected) {
        violations.push_back("length field is " + quoted(length) + ", the message has " + expected +
                             (inBytes ? " bytes" : " characters"));
    }
    expectConstant(bytes, header::kFactoryOffset, header::kFactory, violations);
    expectConstant(bytes, header::kZerosOffset, header::kZeros, violations);
    expectConstant(bytes, header::kBlanksOffset, header::kBlanks, violations);
    expectConstant(bytes, header::kFixedOffset, header::kFixed, violations);
}

void checkTime(std::string_view time, std::vector<std::string>& violations) {
    if (time.size() != kTimeDigits || !isDigits(time)) {
        violations.push_back("Ex_TrTime is " + quoted(time) + " instead of 14 digits");
    }
}

/// The number in Ex_SeqNo, if it is written as a host writes it: at least four digits, none in excess.
std::optional<std::int32_t> readSequence(const std::string& text) {
    std::int32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return text == sequenceText(value) ? std::optional(value) : std::nullopt;
}

/// Takes Ex_TrTime and Ex_SeqNo; false when they are not where they belong.
bool takeLeadingTags(std::string_view& rest, CheckedMessage& checked) {
    for (const std::string_view name : {kTimeTag, kSequenceTag}) {
        const auto value = takePlainTag(rest, name);
        if (!value) {
            checked.violations.push_back("expected the tag <" + std::string(name) + ">, found " +
                                         quoted(rest));
            return false;
        }
        if (name == kTimeTag) {
            checkTime(*value, checked.violations);
        } else {
            checked.message.sequence = *value;
        }
    }
    return true;
}

void checkNumbers(const CheckedMessage& checked, std::vector<std::string>& violations) {
    for (const RequestTag& wanted : checked.row->tags) {
        const Tag* tag = findTag(checked.message.tags, wanted.name);
        if (wanted.isNumber && tag != nullptr && !decimalNumber(tag->value)) {
            violations.push_back(tag->name + " is " + quoted(tag->value) + ", not a number");
        }
    }
}

/// Reads the body as one of the rows has it; as the first, when it fits none.
void takeBody(std::string_view rest, const std::vector<const MessageRow*>& rows, CheckedMessage& checked) {
    BodyReading body;
    for (const MessageRow* row : rows) {
        BodyReading reading = readBody(rest, *row);
        if (reading.isWhole() || row == rows.front()) {
            body = std::move(reading);
            checked.row = row;
        }
        if (body.isWhole()) {
            break;
        }
    }
    checked.bodyIsWhole = body.isWhole();
    checked.message.tags = std::move(body.tags);
    checked.message.groups = std::move(body.groups);
    if (!checked.bodyIsWhole) {
        checked.violations.push_back(std::move(body.violation));
        return;
    }
    checkNumbers(checked, checked.violations);
    if (checked.row->check != nullptr) {
        checked.row->check(checked.message, checked.violations);
    }
}

} // namespace

CheckedMessage MessageChecker::check(std::string_view bytes) {
    CheckedMessage checked;
    if (bytes.size() < header::kSize) {
        checked.violations.push_back("message of " + std::to_string(bytes.size()) +
                                     " bytes is shorter than its header: " + quoted(bytes));
        return checked;
    }
    checked.message.type = std::string(bytes.substr(header::kTypeOffset, header::kTypeWidth));
    const std::vector<const MessageRow*> rows = findMessageRows(checked.message.type);
    checkHeader(bytes, rows.empty() ? LengthUnit::Characters : rows.front()->lengthUnit, checked.violations);
    if (rows.empty()) {
        allowSequenceGap();
        return checked;
    }
    checked.row = rows.front();
    std::string_view rest = bytes.substr(header::kSize);
    if (takeLeadingTags(rest, checked)) {
        checkSequence(checked);
        takeBody(rest, rows, checked);
    } else {
        allowSequenceGap();
    }
    return checked;
}

void MessageChecker::allowSequenceGap() {
    m_gapAllowed = true;
}

void MessageChecker::checkSequence(CheckedMessage& checked) {
    const auto sequence = readSequence(checked.message.sequence);
    if (!sequence) {
        checked.violations.push_back("Ex_SeqNo is " + quoted(checked.message.sequence) +
                                     ", not a number of at least four digits");
        allowSequenceGap();
        return;
    }
    if (m_lastSequence) {
        const bool wraps = *m_lastSequence == std::numeric_limits<std::int32_t>::max();
        const std::int32_t following = wraps ? std::numeric_limits<std::int32_t>::min() : *m_lastSequence + 1;
        const bool jumps = m_gapAllowed && (*sequence == 1 || *sequence > *m_lastSequence);
        if (*sequence != following && !jumps) {
            checked.violations.push_back("Ex_SeqNo is " + checked.message.sequence + " after " +
                                         std::to_string(*m_lastSequence));
        }
    }
    m_lastSequence = sequence;
    m_gapAllowed = false;
}

} // namespace pdasim
