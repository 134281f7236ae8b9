#include "log/Redaction.h"

#include "Text.h"
#include "Transactions.h"
#include "log/Exchange.h"
#include "log/JsonScan.h"
#include "log/Traffic.h"

#include <algorithm>

namespace pdactl::log {

namespace {

constexpr const char* kMask = "***";
constexpr std::size_t kMaxBreak = 64; // entries in which the end of a broken value is looked for
constexpr std::string_view kWordCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_";

bool isOneOf(char c, std::string_view characters) {
    return characters.find(c) != kNone;
}

/// Whether a word in text of any kind is a name: by quotes, the brackets of a tag, or a sign after it.
bool isName(std::string_view text, std::size_t begin, std::size_t end) {
    constexpr std::size_t kMaxRest = 32; // of the name, which may have several words
    const std::string_view rest = text.substr(end, kMaxRest);
    const std::size_t sign = rest.find_first_of("\"'\\,:=<>{}[]/;&\n");
    const char next = sign != kNone ? rest[sign] : ' ';
    const bool isNext = rest.find_first_not_of(" \t\r") == sign;
    const char before = begin > 0 ? text[begin - 1] : ' ';
    const bool isClosingTag = before == '/' && begin > 1 && text[begin - 2] == '<';
    return isOneOf(before, "<\"'") || isClosingTag || isOneOf(next, "\"'\\") ||
           (isNext && isOneOf(next, ":=>"));
}

/// Where the value of the first secret begins, at 0 when it precedes its name; kNone when there is none.
/// With `isAll` every word counts that can be a secret's name.
std::size_t secretIn(std::string_view text, bool isAll) {
    std::size_t begin = text.find_first_of(kWordCharacters);
    while (begin != kNone) {
        const std::size_t end = std::min(text.find_first_not_of(kWordCharacters, begin), text.size());
        if (!secretName(text.substr(begin, end - begin)).empty() && (isAll || isName(text, begin, end))) {
            const std::size_t before = text.substr(0, begin).find_last_not_of('\\');
            const bool isClosingTag = before != kNone && text[before] == '/';
            return isClosingTag ? 0 : std::min(text.find_first_not_of(" \t\r\n\"'\\:=>", end), text.size());
        }
        begin = text.find_first_of(kWordCharacters, end);
    }
    return kNone;
}

/// The same where escapes may hide a name: then from the first of them on.
std::size_t hiddenSecretIn(std::string_view text, bool isAll) {
    constexpr int kMaxNesting = 4; // of JSON in strings of JSON
    std::size_t first = secretIn(text, isAll);
    std::string resolved(text);
    for (int depth = 0; depth < kMaxNesting && resolved.find('\\') != kNone; ++depth) {
        resolved = unescaped(resolved);
        const std::size_t found = secretIn(resolved, isAll);
        first = found == 0 ? 0 : found != kNone ? std::min(first, text.find('\\')) : first;
    }
    return first;
}

std::string maskedFrom(std::string_view text, std::size_t begin) {
    return begin < text.size() ? std::string(text.substr(0, begin)) + kMask : std::string(text);
}

/// Text of which nobody knows what it is, without what may be secret.
std::string redactedText(std::string_view text) {
    return maskedFrom(text, hiddenSecretIn(text, false));
}

std::string redactedObject(std::string_view text, const Json& json) {
    std::string result;
    std::size_t position = 0;
    bool isAll = false; // after a name that is itself a value any other may be what it names
    for (const JsonValue& value : json.values) {
        const std::string_view inside = text.substr(value.begin, value.end - value.begin);
        const bool isString = value.type == JsonValue::Type::String;
        const bool isSecret =
            secretIn(value.name, true) != kNone || (isAll && value.type != JsonValue::Type::Container);
        if (value.begin < position || inside.empty() || !(isSecret || isString)) {
            continue;
        }
        result.append(text.substr(position, value.begin - position))
            .append(isSecret ? kMask : redactedText(inside));
        position = value.end;
        const std::string word = isString ? unescaped(inside) : std::string();
        isAll = isAll || (word.find_first_not_of(kWordCharacters) == kNone && !secretName(word).empty());
    }
    return result.append(text.substr(position));
}

std::string redactedJson(std::string_view text) {
    const Json json = readJson(text);
    const auto holdsSecret = [](const JsonValue& value) {
        return hiddenSecretIn(value.name, false) != kNone;
    };
    if (json.isObject && std::none_of(json.values.begin(), json.values.end(), holdsSecret)) {
        return redactedObject(text, json);
    }
    const std::size_t first = std::min(text.find_first_not_of(" \t\r\n"), text.size());
    const bool canBeObject = first == text.size() || text[first] == '{'; // else it begins in its middle
    return maskedFrom(text, canBeObject ? hiddenSecretIn(text, true) : 0);
}

/// The element that begins here without what is secret of it, and how long it was; what is not whole has no
/// length.
struct Element {
    std::string shown;
    std::size_t length = 0;
};

Element redactedElement(std::string_view text, bool isWholeMessage) {
    for (const std::string_view container : {"<LockList>", "</LockList>"}) {
        if (startsWith(text, container)) {
            return {std::string(container), container.size()};
        }
    }
    const std::size_t nameEnd = std::min(text.find_first_not_of(kWordCharacters, 1), text.size());
    if (text.front() != '<' || nameEnd < 2 || text.substr(nameEnd, 1) != ">") {
        return {};
    }
    const std::string name(text.substr(1, nameEnd - 1));
    const std::string opening = "<" + name + ">";
    const std::string closing = "</" + name + ">";
    const bool isSecret = !secretName(name).empty();
    const std::size_t end = text.find(closing, opening.size());
    // Some of a damaged message may be lost, and the closing tag may be that of another element.
    if (end == kNone || (!isSecret && !isWholeMessage && text.find('<', opening.size()) != end)) {
        return {isSecret ? opening : std::string(), 0};
    }
    const std::string_view value = text.substr(opening.size(), end - opening.size());
    return {opening + (isSecret ? maskedFrom(value, 0) : redactedText(value)) + closing,
            end + closing.size()};
}

std::string redactedMessages(std::string_view text, bool areWhole) {
    std::string result;
    std::size_t position = 0;
    while (position < text.size()) {
        const std::string_view rest = text.substr(position);
        const bool isHeader = beginsMessage(rest) && (areWhole || rest.size() > kMessageHeader);
        const Element next = isHeader ? Element{std::string(rest.substr(0, kMessageHeader)), kMessageHeader}
                             : position > 0 ? redactedElement(rest, areWhole)
                                            : Element();
        result += next.shown;
        if (next.length == 0) {
            return result + kMask;
        }
        position += next.length;
    }
    return result;
}

/// What a handler and a timed-out wait write instead of a message.
bool isPlaceholder(std::string_view payload) {
    return payload.empty() || payload == "-" || payload == " time out ";
}

/// Some of the library's lines repeat what would be known by its tag or its name elsewhere: the message's
/// type is four characters of whatever was read.
std::string redactedStep(const std::string& text, const std::string& type) {
    constexpr std::string_view kShortFile = "file is too short:";
    if (startsWith(text, kShortFile)) {
        return maskedFrom(text, kShortFile.size());
    }
    for (const std::string_view label : {"Xml Type:", "Xml1 Type:"}) {
        const std::size_t end = std::min(text.rfind(" len:"), text.size());
        const bool isIt = startsWith(text, label) && end > label.size();
        if (isIt && text.substr(label.size(), end - label.size()) != type) {
            return std::string(label) + kMask + text.substr(end);
        }
    }
    return redactedText(text);
}

/// A line that looks like an entry may have broken off what the one before it carries: then the end of that
/// is in a later one. Returns the last one that was masked for it.
std::size_t maskRest(std::vector<Entry>& entries, std::size_t broken) {
    const std::size_t most = std::min(broken + kMaxBreak + 1, entries.size());
    std::size_t last = broken;
    for (std::size_t i = broken + 1; i < most && trafficLine(entries[i].text).kind == LineKind::Other; ++i) {
        const bool hasEnd = entries[i].text.find("</") != kNone || hasJsonTail(entries[i].text);
        last = hasEnd ? i : last;
    }
    for (std::size_t i = broken + 1; i <= last; ++i) {
        entries[i].text = kMask;
    }
    return last;
}

} // namespace

void Redactor::redact(std::vector<Entry>& entries) {
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (!redactOne(entries[i])) {
            i = maskRest(entries, i);
        }
    }
}

/// Returns whether nothing of what it carries can be in a later entry.
bool Redactor::redactOne(Entry& entry) {
    std::string& text = entry.text;
    if (entry.head.empty()) { // the rest of anything
        text = maskedFrom(text, 0);
        return false;
    }
    const TrafficLine line = trafficLine(text);
    const std::string_view payload = payloadOf(text, line);
    const std::string before = text.substr(0, line.payload);
    const std::string after = text.substr(line.payload + payload.size());
    if (line.isJson()) {
        text = before + redactedJson(payload) + after;
        return !after.empty();
    }
    if (!line.isMessage() || isPlaceholder(payload)) {
        const bool isHarmless = hiddenSecretIn(text, false) == kNone;
        text = redactedStep(text, m_type);
        return isHarmless;
    }
    const std::string shown = redactedMessages(payload, entry.isWhole);
    m_type = line.kind == LineKind::Read ? typeOf(shown) : m_type;
    text = before + shown + after;
    return entry.isWhole;
}

} // namespace pdactl::log
