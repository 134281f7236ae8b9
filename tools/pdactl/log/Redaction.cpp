#include "log/Redaction.h"

#include "Text.h"
#include "log/Exchange.h"
#include "log/SecretSearch.h"

#include <algorithm>
#include <utility>

namespace pdactl::log {

namespace {

constexpr std::size_t kMaxBreak = 64; // entries in which the end of a broken value is looked for
constexpr std::string_view kShortFile = "file is too short:";

/// Replaces the ranges by the mask, those that touch by one.
std::string masked(std::string_view text, std::vector<Range> ranges) {
    std::sort(ranges.begin(), ranges.end(),
              [](const Range& left, const Range& right) { return left.begin < right.begin; });
    std::string result;
    std::size_t position = 0;
    const auto isEmpty = [](const Range& range) { return range.begin == range.end; };
    ranges.erase(std::remove_if(ranges.begin(), ranges.end(), isEmpty), ranges.end());
    for (std::size_t i = 0; i < ranges.size();) {
        const std::size_t begin = ranges[i].begin;
        std::size_t end = ranges[i].end;
        for (++i; i < ranges.size() && ranges[i].begin <= end; ++i) {
            end = std::max(end, ranges[i].end);
        }
        result.append(text.substr(position, begin - position)).append(kMask);
        position = end;
    }
    return result.append(text.substr(position));
}

/// Whether the text has what the library writes after a request or after a response.
bool hasJsonEnd(std::string_view text) {
    return payloadOf(text, {LineKind::Request, 0}).size() < text.size() ||
           payloadOf(text, {LineKind::Response, 0}).size() < text.size();
}

/// What a handler and a timed-out wait write instead of a message.
bool isPlaceholder(std::string_view payload) {
    return payload.empty() || payload == "-" || startsWith(payload, " time out");
}

/// JSON that begins in its middle tells nothing of what it begins with.
std::vector<Range> hiddenInJson(std::string_view payload) {
    const std::size_t first = payload.find_first_not_of(" \t\r\n");
    const bool isObject = first == std::string_view::npos || payload[first] == '{';
    return isObject ? std::vector<Range>() : std::vector<Range>{{0, payload.size()}};
}

bool isEscaped(std::string_view text, std::size_t position) {
    const std::size_t before = text.substr(0, position).find_last_not_of('\\');
    return (position - (before == std::string_view::npos ? 0 : before + 1)) % 2 != 0;
}

/// The end of the string in which JSON without its beginning begins, or after whose cut name it does.
std::size_t endOfHeadlessValue(std::string_view text) {
    for (std::size_t quote = text.find('"'); quote != std::string_view::npos;
         quote = text.find('"', quote + 1)) {
        const std::size_t next = text.find_first_not_of(" \t\r\n", quote + 1);
        if (!isEscaped(text, quote) && next != std::string_view::npos &&
            std::string_view(",}]").find(text[next]) != std::string_view::npos) {
            return quote;
        }
    }
    return text.size();
}

/// A message's type as the library logs it; four characters of whatever it got.
std::string_view loggedType(std::string_view text) {
    for (const std::string_view label : {"Xml Type:", "Xml1 Type:"}) {
        if (startsWith(text, label)) {
            return text.substr(label.size(), std::min(text.rfind(" len:"), text.size()) - label.size());
        }
    }
    return {};
}

/// Some of the library's lines repeat what would be known by its tag or its name elsewhere.
std::vector<Range> hiddenInStep(std::string_view text, std::string_view type) {
    const std::string_view logged = loggedType(text);
    if (!logged.empty() && logged != type) {
        const auto begin = static_cast<std::size_t>(logged.data() - text.data());
        return {{begin, begin + logged.size()}};
    }
    if (startsWith(text, kShortFile) && text.size() > kShortFile.size()) {
        return {{kShortFile.size(), text.size()}};
    }
    return {};
}

/// What goes on after a text that was broken off by a line which looks like another entry.
class Continuation {
public:
    Continuation(std::vector<Entry>& entries, std::size_t broken)
        : m_entries(entries), m_first(broken + 1), m_end(m_first) {
        const std::size_t most = std::min(m_first + kMaxBreak, entries.size());
        while (m_end < most && trafficLine(entries[m_end].text).kind == LineKind::Other) {
            ++m_end;
        }
    }

    /// Up to the last closing tag. Returns how many entries that are.
    std::size_t maskMessage(MessagePieces& pieces) {
        const std::size_t end = endAfter([](std::string_view text) { return hasClosingTag(text); });
        for (std::size_t i = m_first; i < end; ++i) {
            m_entries[i].text = masked(m_entries[i].text, pieces.add(m_entries[i].text));
        }
        return end - m_first;
    }

    /// Up to the end that the library writes after JSON.
    std::size_t maskJson() {
        const std::size_t end = endAfter(hasJsonEnd);
        for (std::size_t i = m_first; i < end; ++i) {
            m_entries[i].text = kMask;
        }
        return end - m_first;
    }

private:
    template <typename Test>
    std::size_t endAfter(Test test) const {
        std::size_t end = m_end;
        while (end > m_first && !test(m_entries[end - 1].text)) {
            --end;
        }
        return end;
    }

    std::vector<Entry>& m_entries;
    std::size_t m_first;
    std::size_t m_end;
};

} // namespace

void Redactor::redact(std::vector<Entry>& entries) {
    for (std::size_t i = 0; i < entries.size(); ++i) {
        i += redactOne(entries, i);
    }
}

/// Masks what goes on in the following entries too. Returns how many these are.
std::size_t Redactor::redactOne(std::vector<Entry>& entries, std::size_t index) {
    std::string& text = entries[index].text;
    const bool isHeadless = entries[index].head.empty();
    const TrafficLine line = isHeadless ? TrafficLine() : trafficLine(text);
    const std::string_view payload = payloadOf(text, line);
    const bool isJson = line.kind == LineKind::Request || line.kind == LineKind::Response;
    const bool isBrokenJson = isJson && line.payload + payload.size() == text.size();
    Secrets secrets = findSecrets(text);
    MessagePieces own;
    own.beginWithin(secrets.openTag);
    MessagePieces* pieces = &own;
    std::vector<Range> hidden;
    if (isHeadless) {
        hidden = hiddenInHeadless(text);
        pieces = &m_received;
    } else if (isJson) {
        hidden = hiddenInJson(payload);
    } else if (line.kind == LineKind::Other || isPlaceholder(payload)) {
        hidden = hiddenInStep(text, m_type);
    } else {
        pieces = &piecesOf(line.kind, payload, own);
        hidden = pieces->add(payload);
    }
    for (const Range& range :
         secrets.values) { // what the library writes around a value does not belong to it
        const std::size_t begin = std::max(range.begin, line.payload) - line.payload;
        const std::size_t end =
            std::clamp(range.end, line.payload, line.payload + payload.size()) - line.payload;
        hidden.push_back({std::min(begin, end), end});
    }
    const std::size_t payloadEnd = line.payload + payload.size();
    text = text.substr(0, line.payload) + masked(payload, std::move(hidden)) + text.substr(payloadEnd);
    Continuation continuation(entries, index);
    return isBrokenJson         ? continuation.maskJson()
           : pieces->isBroken() ? continuation.maskMessage(*pieces)
                                : 0;
}

/// With what came before this line, as far as it belongs to it.
MessagePieces& Redactor::piecesOf(LineKind kind, std::string_view payload, MessagePieces& own) {
    if (kind == LineKind::Read && !payload.empty()) {
        m_lastRead = payload;
        m_beforeLastRead = m_received;
        m_type = beginsMessage(payload) ? typeOf(payload) : std::string_view();
        return m_received;
    }
    own = kind == LineKind::WrongMessage && payload == m_lastRead ? m_beforeLastRead : MessagePieces();
    return own;
}

/// What begins without a stamp may be the rest of anything.
std::vector<Range> Redactor::hiddenInHeadless(std::string_view text) {
    return hasJsonEnd(text) ? std::vector<Range>{{0, endOfHeadlessValue(text)}} : m_received.add(text);
}

void redact(std::vector<Entry>& entries) {
    Redactor().redact(entries);
}

} // namespace pdactl::log
