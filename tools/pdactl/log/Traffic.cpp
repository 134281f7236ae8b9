#include "log/Traffic.h"

#include "Text.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace pdactl::log {

namespace {

constexpr std::size_t kLengthDigits = 6;
constexpr std::ptrdiff_t kHeadDigits = 10; // length and type
constexpr std::string_view kPrepared = " SendData pre: ";
constexpr std::string_view kRequestTail = " inLen:#";
constexpr std::string_view kResponseTail = " outLen:# ret:#";

struct Label {
    std::string_view text;
    LineKind kind;
    std::string_view tail;
};

constexpr std::array<Label, 8> kLabels{{
    {"inJson4:", LineKind::Request, kRequestTail},
    {"outJson:", LineKind::Response, kResponseTail},
    {"Write XML: ", LineKind::Written, " sendLen:#"},
    {"Write XML1: ", LineKind::Written, " sendLen:#"},
    {"Write XML error:", LineKind::WriteFailed, "  sendLen:# bufferLen:#"},
    {"Write XML1 error:", LineKind::WriteFailed, "  sendLen:# bufferLen:#"},
    {"HID Read XML: ", LineKind::Read, ""},
    {"Read XML:", LineKind::WrongMessage, " ---Wrong Command --Delete"},
}};

/// The text without a tail at its end.
std::string_view withoutTail(std::string_view text, std::string_view tail) {
    const std::size_t found = tail.empty() ? kNone : text.rfind(tail.substr(0, tail.find('#')));
    const bool isFound = found != kNone && tailLength(text.substr(found), tail) == text.size() - found;
    return isFound ? text.substr(0, found) : text;
}

} // namespace

TrafficLine trafficLine(std::string_view text) {
    for (const Label& label : kLabels) {
        if (startsWith(text, label.text)) {
            return {label.kind, label.text.size(), label.tail};
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
    return withoutTail(text.substr(line.payload), line.tail);
}

std::size_t tailLength(std::string_view text, std::string_view tail) {
    std::size_t end = 0;
    for (const char expected : tail) {
        const std::size_t begin = end;
        if (expected == '#') {
            end = std::min(text.find_first_not_of("-0123456789", begin), text.size());
        } else if (begin < text.size() && text[begin] == expected) {
            ++end;
        }
        if (end == begin) {
            return 0;
        }
    }
    return end;
}

bool hasJsonTail(std::string_view text) {
    return withoutTail(text, kRequestTail).size() + withoutTail(text, kResponseTail).size() < 2 * text.size();
}

bool beginsMessage(std::string_view text) {
    const std::string_view header = text.substr(0, kMessageHeader);
    const std::string_view tag = text.substr(header.size(), 2);
    return header.size() == kMessageHeader && declaredLength(text).has_value() &&
           std::string_view("789").find(header[kLengthDigits]) != kNone && header[kLengthDigits + 1] == '0' &&
           (tag.empty() || tag == "**" || (tag.front() == '<' && tag.back() != '/')) &&
           header.find('<') == kNone &&
           header.find_first_not_of("0123456789abcdefABCDEF") != kNone; // those may be part of a file
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

} // namespace pdactl::log
