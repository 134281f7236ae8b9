#include "log/Traffic.h"

#include "log/Time.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

namespace pdactl::log {

namespace {

constexpr std::size_t npos = std::string_view::npos;
constexpr std::size_t LengthDigits = 6;
constexpr std::size_t HeaderLength = 10;   // length and type
constexpr std::size_t LongestSuffix = 128; // behind a message, the next entry's head included
constexpr std::string_view Prepared = " SendData pre: ";
constexpr std::string_view WrongTail = " ---Wrong Command --Delete";

struct Label {
    std::string_view text;
    LineKind kind;
};

constexpr std::array<Label, 8> Labels{{
    {"inJson4:", LineKind::Request},
    {"outJson:", LineKind::Response},
    {"Write XML: ", LineKind::Written},
    {"Write XML1: ", LineKind::Written},
    {"Write XML error:", LineKind::WriteFailed},
    {"Write XML1 error:", LineKind::WriteFailed},
    {"HID Read XML: ", LineKind::Read},
    {"Read XML:", LineKind::WrongMessage},
}};

bool startsWith(std::string_view text, std::string_view beginning) {
    return text.substr(0, beginning.size()) == beginning;
}

bool areDigits(std::string_view text, std::size_t count) {
    return text.size() >= count &&
           std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(count),
                       [](char c) { return c >= '0' && c <= '9'; });
}

/** Takes a fixed text off the front. */
bool take(std::string_view& text, std::string_view expected) {
    if (!startsWith(text, expected)) {
        return false;
    }
    text.remove_prefix(expected.size());
    return true;
}

std::optional<long long> takeNumber(std::string_view& text) {
    long long number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc()) {
        return {};
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

/** Whether an entry can end here: at a line end that another entry or nothing follows. */
bool isEntryEnd(std::string_view rest) {
    if (rest.empty()) {
        return true;
    }
    (void)take(rest, "\r");
    return take(rest, "\n") && (rest.empty() || isEntryHead(rest));
}

/** How many bytes of the sequence that begins here form one character; an invalid byte counts for itself. */
std::size_t sequenceLength(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text.front());
    const std::size_t length = lead < 0xC2 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 1;
    if (length > text.size()) {
        return 1;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((static_cast<unsigned char>(text[i]) & 0xC0U) != 0x80U) {
            return 1;
        }
    }
    return length;
}

/** The position behind so many UTF-16 units; npos when the text is shorter. */
std::size_t afterCharacters(std::string_view text, std::size_t count) {
    std::size_t position = 0;
    while (count > 0) {
        if (position >= text.size()) {
            return npos;
        }
        const std::size_t length = sequenceLength(text.substr(position));
        const std::size_t units = length == 4 ? 2 : 1;
        position += length;
        count -= std::min(units, count);
    }
    return position;
}

/** Whether what the library writes behind a message of this kind stands here; returns where it ends. */
std::size_t suffixEnd(std::string_view bytes, std::size_t position, LineKind kind) {
    std::string_view rest = bytes.substr(position);
    if (kind == LineKind::Written && take(rest, " sendLen:")) {
        if (!takeNumber(rest)) {
            return npos;
        }
    } else if (kind == LineKind::WriteFailed) {
        if (!take(rest, "  sendLen:") || !takeNumber(rest) || !take(rest, " bufferLen:") ||
            !takeNumber(rest)) {
            return npos;
        }
    } else if (kind == LineKind::WrongMessage && !take(rest, WrongTail)) {
        return npos;
    }
    return isEntryEnd(rest) ? bytes.size() - rest.size() : npos;
}

/** The end of a run of messages; npos when their lengths lead nowhere. */
std::size_t messagesEnd(std::string_view bytes, std::size_t begin, LineKind kind, bool inBytes,
                        bool& needsMore) {
    while (areDigits(bytes.substr(begin), HeaderLength)) {
        std::size_t length = 0;
        (void)std::from_chars(bytes.data() + begin, bytes.data() + begin + LengthDigits, length);
        if (length < HeaderLength) {
            return npos;
        }
        const std::string_view rest = bytes.substr(begin);
        const std::size_t behind =
            inBytes ? (length <= rest.size() ? length : npos) : afterCharacters(rest, length);
        if (behind == npos) {
            needsMore = true;
            return npos;
        }
        begin += behind;
        const std::size_t end = suffixEnd(bytes, begin, kind);
        if (end != npos) {
            return end;
        }
        needsMore = bytes.size() - begin < LongestSuffix;
    }
    return npos;
}

/** The end of a request, which " inLen:" and its number of bytes follow. */
std::size_t requestEnd(std::string_view bytes, std::size_t begin) {
    constexpr int mostAttempts = 16; // a host may pass any number
    constexpr std::string_view tail = " inLen:";
    std::size_t found = bytes.find(tail, begin);
    for (int attempt = 0; attempt < mostAttempts && found != npos; ++attempt) {
        std::string_view rest = bytes.substr(found + tail.size());
        const std::optional<long long> length = takeNumber(rest);
        if (length && *length == static_cast<long long>(found - begin) && isEntryEnd(rest)) {
            return bytes.size() - rest.size();
        }
        found = bytes.find(tail, found + 1);
    }
    return npos;
}

bool isTail(std::string_view text, std::string_view allowed) {
    return !text.empty() && text.find_first_not_of(allowed) == npos;
}

/** Cuts the last occurrence of a label off, with what follows it, if that consists of these characters. */
bool cutTail(std::string_view& text, std::string_view label, std::string_view allowed) {
    const std::size_t found = text.rfind(label);
    if (found == npos || !isTail(text.substr(found + label.size()), allowed)) {
        return false;
    }
    text = text.substr(0, found);
    return true;
}

} // namespace

std::size_t entryHeadLength(std::string_view text) {
    constexpr std::array<std::string_view, 4> words{"MESSAGE  : ", "ERROR  : ", "WARNING  : ", "INFO     : "};
    if (!parseStamp(text)) {
        return 0;
    }
    for (const std::string_view word : words) {
        if (startsWith(text.substr(StampLength), word)) {
            return StampLength + word.size();
        }
    }
    return 0;
}

bool isEntryHead(std::string_view text) {
    return entryHeadLength(text) != 0;
}

TrafficLine trafficLine(std::string_view text) {
    for (const Label& label : Labels) {
        if (startsWith(text, label.text)) {
            return {label.kind, label.text.size()};
        }
    }
    constexpr std::size_t longestWord = 20;
    const std::size_t blank = text.substr(0, longestWord).find(' ');
    if (blank != npos && blank > 0 && startsWith(text.substr(blank), Prepared)) {
        return {LineKind::Prepared, blank + Prepared.size()};
    }
    return {};
}

std::string_view payloadOf(std::string_view text, TrafficLine line) {
    constexpr std::string_view number = "-0123456789";
    std::string_view payload = text.substr(std::min(line.payload, text.size()));
    switch (line.kind) {
    case LineKind::Request:
        (void)cutTail(payload, " inLen:", number);
        break;
    case LineKind::Response:
        if (cutTail(payload, " ret:", number)) {
            (void)cutTail(payload, " outLen:", number);
        }
        break;
    case LineKind::Written:
        (void)cutTail(payload, " sendLen:", number);
        break;
    case LineKind::WriteFailed:
        if (cutTail(payload, " bufferLen:", number)) {
            (void)cutTail(payload, "  sendLen:", number);
        }
        break;
    case LineKind::WrongMessage:
        if (payload.size() >= WrongTail.size() &&
            payload.substr(payload.size() - WrongTail.size()) == WrongTail) {
            payload.remove_suffix(WrongTail.size());
        }
        break;
    default:
        break;
    }
    return payload;
}

std::size_t declaredEnd(std::string_view bytes, std::size_t begin, bool& needsMore) {
    needsMore = false;
    const TrafficLine line = trafficLine(bytes.substr(begin));
    const std::size_t payload = begin + line.payload;
    switch (line.kind) {
    case LineKind::Request:
        return requestEnd(bytes, payload);
    case LineKind::Prepared:
    case LineKind::Written:
    case LineKind::WriteFailed:
    case LineKind::Read:
    case LineKind::WrongMessage: {
        bool bytesNeedMore = false;
        const std::size_t end = messagesEnd(bytes, payload, line.kind, false, needsMore);
        // Some messages are logged as bytes of an encoding that happens to look like another.
        return end != npos ? end : messagesEnd(bytes, payload, line.kind, true, bytesNeedMore);
    }
    default:
        return npos;
    }
}

} // namespace pdactl::log
