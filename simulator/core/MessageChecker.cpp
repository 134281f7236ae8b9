#include "core/MessageChecker.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <limits>

namespace pdasim {

namespace {

constexpr std::string_view TimeTag = "Ex_TrTime";
constexpr std::string_view SequenceTag = "Ex_SeqNo";
constexpr std::size_t TimeDigits = 14;

bool isDigits(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::string quoted(std::string_view bytes) {
    constexpr std::size_t Shown = 80;
    std::string text = "\"" + printable(bytes.substr(0, Shown)) + "\"";
    return bytes.size() > Shown ? text + "..." : text;
}

std::string opening(std::string_view name) {
    return "<" + std::string(name) + ">";
}

std::string closing(std::string_view name) {
    return "</" + std::string(name) + ">";
}

std::string number(std::size_t value) {
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

void checkHeader(std::string_view bytes, std::vector<std::string>& violations) {
    const std::string_view length = bytes.substr(header::LengthOffset, header::LengthWidth);
    const std::string expected = number(lengthInCharacters(bytes));
    if (length != expected) {
        violations.push_back("length field is " + quoted(length) + ", the message has " + expected +
                             " characters");
    }
    expectConstant(bytes, header::FactoryOffset, header::Factory, violations);
    expectConstant(bytes, header::ZerosOffset, header::Zeros, violations);
    expectConstant(bytes, header::BlanksOffset, header::Blanks, violations);
    expectConstant(bytes, header::FixedOffset, header::Fixed, violations);
}

/** Takes a tag whose value holds no "<" from the front of the rest. */
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

/**
 * Takes a body tag from the front of the rest.
 *
 * Values are not escaped, so a value may contain anything, even its own closing tag; what ends it is the
 * closing tag in front of the next tag, or, for the last one, of the message's end.
 */
std::optional<std::string> takeBodyTag(std::string_view& rest, std::string_view name, std::string_view next) {
    const std::string open = opening(name);
    const std::string close = closing(name);
    if (rest.substr(0, open.size()) != open) {
        return std::nullopt;
    }
    const std::string_view value = rest.substr(open.size());
    std::size_t end = std::string_view::npos;
    if (!next.empty()) {
        end = value.find(close + opening(next));
    } else if (value.size() >= close.size() && value.substr(value.size() - close.size()) == close) {
        end = value.size() - close.size();
    }
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    rest = value.substr(end + close.size());
    return std::string(value.substr(0, end));
}

void checkTime(std::string_view time, std::vector<std::string>& violations) {
    if (time.size() != TimeDigits || !isDigits(time)) {
        violations.push_back("Ex_TrTime is " + quoted(time) + " instead of 14 digits");
    }
}

/** The number in Ex_SeqNo, if it is written as a host writes it: at least four digits, none in excess. */
std::optional<std::int32_t> readSequence(const std::string& text) {
    std::int32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    std::array<char, 32> canonical{};
    (void)std::snprintf(canonical.data(), canonical.size(), "%04d", value);
    return text == canonical.data() ? std::optional(value) : std::nullopt;
}

/** Takes Ex_TrTime and Ex_SeqNo; false when they do not stand where they belong. */
bool takeLeadingTags(std::string_view& rest, CheckedMessage& message) {
    for (const std::string_view name : {TimeTag, SequenceTag}) {
        const auto value = takePlainTag(rest, name);
        if (!value) {
            message.violations.push_back("expected the tag " + opening(name) + ", found " + quoted(rest));
            return false;
        }
        if (name == TimeTag) {
            checkTime(*value, message.violations);
        } else {
            message.sequence = *value;
        }
    }
    return true;
}

void takeBody(std::string_view rest, CheckedMessage& message) {
    const std::vector<std::string_view>& names = message.row->requestTags;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const std::string_view next = i + 1 < names.size() ? names[i + 1] : std::string_view();
        auto value = takeBodyTag(rest, names[i], next);
        if (!value) {
            const std::string follower = next.empty() ? "the end" : opening(next);
            message.violations.push_back("expected the tag " + opening(names[i]) + " and then " + follower +
                                         ", found " + quoted(rest));
            return;
        }
        message.body.push_back({std::string(names[i]), std::move(*value)});
    }
    if (!rest.empty()) {
        message.violations.push_back("expected the end, found " + quoted(rest));
        return;
    }
    message.bodyIsWhole = true;
}

} // namespace

CheckedMessage MessageChecker::check(std::string_view bytes) {
    CheckedMessage message;
    if (bytes.size() < header::Size) {
        message.violations.push_back("message of " + std::to_string(bytes.size()) +
                                     " bytes is shorter than its header: " + quoted(bytes));
        return message;
    }
    checkHeader(bytes, message.violations);
    message.type = std::string(bytes.substr(header::TypeOffset, header::TypeWidth));
    message.row = findMessageRow(message.type);
    if (message.row == nullptr) {
        message.violations.push_back("unknown type " + quoted(message.type));
        allowSequenceGap();
        return message;
    }
    std::string_view rest = bytes.substr(header::Size);
    if (takeLeadingTags(rest, message)) {
        checkSequence(message);
        takeBody(rest, message);
    } else {
        allowSequenceGap();
    }
    return message;
}

void MessageChecker::allowSequenceGap() {
    m_gapAllowed = true;
}

void MessageChecker::checkSequence(CheckedMessage& message) {
    const auto sequence = readSequence(message.sequence);
    if (!sequence) {
        message.violations.push_back("Ex_SeqNo is " + quoted(message.sequence) +
                                     ", not a number of at least four digits");
        allowSequenceGap();
        return;
    }
    if (m_lastSequence) {
        const bool wraps = *m_lastSequence == std::numeric_limits<std::int32_t>::max();
        const std::int32_t following = wraps ? std::numeric_limits<std::int32_t>::min() : *m_lastSequence + 1;
        const bool jumps = m_gapAllowed && (*sequence == 1 || *sequence > *m_lastSequence);
        if (*sequence != following && !jumps) {
            message.violations.push_back("Ex_SeqNo is " + message.sequence + " after " +
                                         std::to_string(*m_lastSequence));
        }
    }
    m_lastSequence = sequence;
    m_gapAllowed = false;
}

} // namespace pdasim
