#include "log/DeclaredEnds.h"

#include <algorithm>
#include <charconv>
#include <optional>

namespace pdactl::log {

namespace {

constexpr std::size_t kMarkDistance = 1024; // bytes
constexpr std::size_t kMaxSuffix = 128;     // after a message, the next entry's head included
constexpr std::size_t kMinMessage = 10;     // its length and its type
constexpr int kMaxMessages = 64;            // in one entry whose lengths are believed
constexpr int kMaxRequestTails = 16;        // a host may pass any number
constexpr std::string_view kRequestTail = " inLen:";

/// Takes a fixed text off the front.
bool take(std::string_view& text, std::string_view expected) {
    if (text.substr(0, expected.size()) != expected) {
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

/// Whether an entry can end here: at a line end that another entry or nothing follows.
bool isEntryEnd(std::string_view rest) {
    if (rest.empty()) {
        return true;
    }
    (void)take(rest, "\r");
    return take(rest, "\n") && (rest.empty() || isEntryHead(rest));
}

/// How many bytes of the sequence that begins here form one character; an invalid byte counts for itself.
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

/// Whether what the library writes after a message of this kind is here; returns where it ends.
std::size_t suffixEnd(std::string_view bytes, std::size_t position, LineKind kind) {
    std::string_view rest = bytes.substr(position);
    if (kind == LineKind::Written && take(rest, " sendLen:")) {
        if (!takeNumber(rest)) {
            return kNone;
        }
    } else if (kind == LineKind::WriteFailed) {
        if (!take(rest, "  sendLen:") || !takeNumber(rest) || !take(rest, " bufferLen:") ||
            !takeNumber(rest)) {
            return kNone;
        }
    } else if (kind == LineKind::WrongMessage && !take(rest, kWrongTail)) {
        return kNone;
    }
    return isEntryEnd(rest) ? bytes.size() - rest.size() : kNone;
}

/// Whether a message of this length can end here: with a tag, unless it has none. A wrong length may lead
/// anywhere.
bool canEnd(std::string_view text, std::size_t end, std::size_t length) {
    return length == kMessageHeader || (end > 0 && text[end - 1] == '>');
}

/// After this many bytes; kNone beyond the text's end.
std::size_t afterBytes(std::string_view text, std::size_t begin, std::size_t count) {
    return count <= text.size() - begin ? begin + count : kNone;
}

} // namespace

void CharacterIndex::step(Mark& mark) const {
    const std::size_t length = sequenceLength(m_text.substr(mark.position));
    mark.position += length;
    mark.units += length == 4 ? 2 : 1;
}

std::size_t CharacterIndex::after(std::size_t begin, std::size_t units) {
    const auto extend = [&](auto isEnough) {
        for (Mark mark = m_marks.back(); !isEnough(mark) && mark.position < m_text.size();) {
            step(mark);
            if (mark.position >= m_marks.back().position + kMarkDistance) {
                m_marks.push_back(mark);
            }
        }
    };
    const auto walk = [&](auto isBefore) {
        Mark mark = *std::prev(std::partition_point(std::next(m_marks.begin()), m_marks.end(), isBefore));
        while (isBefore(mark) && mark.position < m_text.size()) {
            step(mark);
        }
        return mark;
    };
    extend([&](const Mark& mark) { return mark.position >= begin; });
    const std::size_t target = walk([&](const Mark& mark) { return mark.position < begin; }).units + units;
    extend([&](const Mark& mark) { return mark.units >= target; });
    const Mark end = walk([&](const Mark& mark) { return mark.units < target; });
    return end.units >= target ? end.position : kNone;
}

std::size_t DeclaredEnds::of(std::size_t begin, bool& needsMore) {
    needsMore = false;
    const TrafficLine line = trafficLine(m_bytes.substr(begin));
    const std::size_t payload = begin + line.payload;
    switch (line.kind) {
    case LineKind::Request:
        return ofRequest(payload);
    case LineKind::Prepared:
    case LineKind::Written:
    case LineKind::WriteFailed:
    case LineKind::Read:
    case LineKind::WrongMessage: {
        bool bytesNeedMore = false;
        const std::size_t end = ofMessages(payload, line.kind, false, needsMore);
        // Some messages are logged as bytes of an encoding that happens to look like another.
        return end != kNone ? end : ofMessages(payload, line.kind, true, bytesNeedMore);
    }
    default:
        return kNone;
    }
}

/// The end of a run of messages; kNone when their lengths lead nowhere.
std::size_t DeclaredEnds::ofMessages(std::size_t begin, LineKind kind, bool inBytes, bool& needsMore) {
    for (int message = 0; message < kMaxMessages; ++message) {
        const std::optional<std::size_t> length = declaredLength(m_bytes.substr(begin));
        if (!length || *length < kMinMessage) {
            return kNone;
        }
        begin = inBytes ? afterBytes(m_bytes, begin, *length) : m_characters.after(begin, *length);
        if (begin == kNone) {
            needsMore = true;
            return kNone;
        }
        const std::size_t end = canEnd(m_bytes, begin, *length) ? suffixEnd(m_bytes, begin, kind) : kNone;
        if (end != kNone) {
            return end;
        }
        needsMore = m_bytes.size() - begin < kMaxSuffix;
    }
    return kNone;
}

/// The end of a request, which " inLen:" and its number of bytes follow.
std::size_t DeclaredEnds::ofRequest(std::size_t begin) {
    std::size_t found = requestTail(begin);
    for (int attempt = 0; attempt < kMaxRequestTails && found != kNone; ++attempt) {
        std::string_view rest = m_bytes.substr(found + kRequestTail.size());
        const std::optional<long long> length = takeNumber(rest);
        if (length && *length == static_cast<long long>(found - begin) && isEntryEnd(rest)) {
            return m_bytes.size() - rest.size();
        }
        found = requestTail(found + 1);
    }
    return kNone;
}

std::size_t DeclaredEnds::requestTail(std::size_t begin) {
    while (m_searched < m_bytes.size() && (m_tails.empty() || m_tails.back() < begin)) {
        const std::size_t found = m_bytes.find(kRequestTail, m_searched);
        m_searched = found == kNone ? m_bytes.size() : found + 1;
        if (found != kNone) {
            m_tails.push_back(found);
        }
    }
    const auto tail = std::lower_bound(m_tails.begin(), m_tails.end(), begin);
    return tail != m_tails.end() ? *tail : kNone;
}

bool areWholeMessages(std::string_view text) {
    CharacterIndex characters(text);
    const auto areWhole = [&](bool inBytes) {
        std::size_t begin = 0;
        while (begin < text.size() && beginsMessage(text.substr(begin))) {
            const std::size_t length = std::max(*declaredLength(text.substr(begin)), kMessageHeader);
            begin = inBytes ? afterBytes(text, begin, length) : characters.after(begin, length);
            begin = begin != kNone && canEnd(text, begin, length) ? begin : kNone;
        }
        return begin == text.size();
    };
    return !text.empty() && (areWhole(false) || areWhole(true));
}

} // namespace pdactl::log
