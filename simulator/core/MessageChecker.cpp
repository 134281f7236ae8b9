#include "core/MessageChecker.h"

#include "core/BodyReader.h"
#include "core/Texts.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <limits>
#include <utility>

namespace pdasim {

namespace {

constexpr std::string_view TimeTag = "Ex_TrTime";
constexpr std::string_view SequenceTag = "Ex_SeqNo";
constexpr std::size_t TimeDigits = 14;

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
    const std::string_view length = bytes.substr(header::LengthOffset, header::LengthWidth);
    const bool inBytes = unit == LengthUnit::Bytes;
    const std::string expected = sixDigits(inBytes ? bytes.size() : lengthInCharacters(bytes));
    if (length != expected) {
        violations.push_back("length field is " + quoted(length) + ", the message has " + expected +
                             (inBytes ? " bytes" : " characters"));
    }
    expectConstant(bytes, header::FactoryOffset, header::Factory, violations);
    expectConstant(bytes, header::ZerosOffset, header::Zeros, violations);
    expectConstant(bytes, header::BlanksOffset, header::Blanks, violations);
    expectConstant(bytes, header::FixedOffset, header::Fixed, violations);
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
    return text == sequenceText(value) ? std::optional(value) : std::nullopt;
}

/** Takes Ex_TrTime and Ex_SeqNo; false when they do not stand where they belong. */
bool takeLeadingTags(std::string_view& rest, CheckedMessage& checked) {
    for (const std::string_view name : {TimeTag, SequenceTag}) {
        const auto value = takePlainTag(rest, name);
        if (!value) {
            checked.violations.push_back("expected the tag <" + std::string(name) + ">, found " +
                                         quoted(rest));
            return false;
        }
        if (name == TimeTag) {
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

/** Reads the body as one of the rows has it; as the first, when it fits none. */
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
    if (bytes.size() < header::Size) {
        checked.violations.push_back("message of " + std::to_string(bytes.size()) +
                                     " bytes is shorter than its header: " + quoted(bytes));
        return checked;
    }
    checked.message.type = std::string(bytes.substr(header::TypeOffset, header::TypeWidth));
    const std::vector<const MessageRow*> rows = findMessageRows(checked.message.type);
    checkHeader(bytes, rows.empty() ? LengthUnit::Characters : rows.front()->lengthUnit, checked.violations);
    if (rows.empty()) {
        allowSequenceGap();
        return checked;
    }
    checked.row = rows.front();
    std::string_view rest = bytes.substr(header::Size);
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
