#include "log/Traffic.h"

#include "Text.h"
#include "log/Time.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace pdactl::log {

namespace {

constexpr std::size_t kLengthDigits = 6;
constexpr std::ptrdiff_t kHeadDigits = 10; // length and type
constexpr std::string_view kPrepared = " SendData pre: ";

struct Label {
    std::string_view text;
    LineKind kind;
};

constexpr std::array<Label, 8> kLabels{{
    {"inJson4:", LineKind::Request},
    {"outJson:", LineKind::Response},
    {"Write XML: ", LineKind::Written},
    {"Write XML1: ", LineKind::Written},
    {"Write XML error:", LineKind::WriteFailed},
    {"Write XML1 error:", LineKind::WriteFailed},
    {"HID Read XML: ", LineKind::Read},
    {"Read XML:", LineKind::WrongMessage},
}};

bool isTail(std::string_view text, std::string_view allowed) {
    return !text.empty() && text.find_first_not_of(allowed) == kNone;
}

/// Cuts the last occurrence of a label off, with what follows it, if that consists of these characters.
bool cutTail(std::string_view& text, std::string_view label, std::string_view allowed) {
    const std::size_t found = text.rfind(label);
    if (found == kNone || !isTail(text.substr(found + label.size()), allowed)) {
        return false;
    }
    text = text.substr(0, found);
    return true;
}

} // namespace

std::size_t entryHeadLength(std::string_view text) {
    constexpr std::array<std::string_view, 4> kLevelWords{
        "MESSAGE  : ", "ERROR  : ", "WARNING  : ", "INFO     : "};
    if (!parseStamp(text)) {
        return 0;
    }
    for (const std::string_view word : kLevelWords) {
        if (startsWith(text.substr(kStampLength), word)) {
            return kStampLength + word.size();
        }
    }
    return 0;
}

bool isEntryHead(std::string_view text) {
    return entryHeadLength(text) != 0;
}

bool beginsMessage(std::string_view text) {
    const std::string_view header = text.substr(0, kMessageHeader);
    const auto isHexDigit = [](char c) {
        return std::string_view("0123456789abcdefABCDEF").find(c) != kNone;
    };
    return header.size() == kMessageHeader && declaredLength(text).has_value() &&
           std::string_view("789").find(header[kLengthDigits]) != kNone && header[kLengthDigits + 1] == '0' &&
           (text.size() == kMessageHeader || text[kMessageHeader] == '<') &&
           !std::all_of(header.begin(), header.end(), isHexDigit); // those may be part of a file
}

std::optional<std::size_t> declaredLength(std::string_view text) {
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    if (text.size() < std::size_t{kHeadDigits} ||
        !std::all_of(text.begin(), text.begin() + kHeadDigits, isDigit)) {
        return {};
    }
    std::size_t length = 0;
    (void)std::from_chars(text.data(), text.data() + kLengthDigits, length);
    return length;
}

TrafficLine trafficLine(std::string_view text) {
    for (const Label& label : kLabels) {
        if (startsWith(text, label.text)) {
            return {label.kind, label.text.size()};
        }
    }
    constexpr std::size_t kMaxWord = 20;
    const std::size_t blank = text.substr(0, kMaxWord).find(' ');
    if (blank != kNone && blank > 0 && startsWith(text.substr(blank), kPrepared)) {
        return {LineKind::Prepared, blank + kPrepared.size()};
    }
    return {};
}

std::string_view payloadOf(std::string_view text, TrafficLine line) {
    constexpr std::string_view kNumber = "-0123456789";
    std::string_view payload = text.substr(std::min(line.payload, text.size()));
    switch (line.kind) {
    case LineKind::Request:
        (void)cutTail(payload, " inLen:", kNumber);
        break;
    case LineKind::Response:
        if (cutTail(payload, " ret:", kNumber)) {
            (void)cutTail(payload, " outLen:", kNumber);
        }
        break;
    case LineKind::Written:
        (void)cutTail(payload, " sendLen:", kNumber);
        break;
    case LineKind::WriteFailed:
        if (cutTail(payload, " bufferLen:", kNumber)) {
            (void)cutTail(payload, "  sendLen:", kNumber);
        }
        break;
    case LineKind::WrongMessage:
        if (payload.size() >= kWrongTail.size() &&
            payload.substr(payload.size() - kWrongTail.size()) == kWrongTail) {
            payload.remove_suffix(kWrongTail.size());
        }
        break;
    default:
        break;
    }
    return payload;
}

std::string_view begunMember(std::string_view text) {
    constexpr std::string_view kEnd = "] begin";
    if (text.size() <= kEnd.size() || text.front() != '[' || text.substr(text.size() - kEnd.size()) != kEnd) {
        return {};
    }
    return text.substr(1, text.size() - kEnd.size() - 1);
}

std::optional<int> resultOf(std::string_view text) {
    constexpr std::string_view kLabel = " ret:";
    const std::size_t found = text.rfind(kLabel);
    int result = 0;
    if (found == std::string_view::npos) {
        return {};
    }
    const std::string_view digits = text.substr(found + kLabel.size());
    const bool isNumber =
        std::from_chars(digits.data(), digits.data() + digits.size(), result).ec == std::errc();
    return isNumber ? std::optional(result) : std::nullopt;
}

} // namespace pdactl::log
