#include "log/Redaction.h"

#include "log/SecretSearch.h"
#include "log/Traffic.h"

#include <algorithm>

namespace pdactl::log {

namespace {

constexpr std::size_t LongestBreak = 64; // entries in which the end of a broken value is looked for
constexpr std::string_view ShortFile = "file is too short:";

/** Replaces the ranges by the mask, those that touch by one. */
std::string masked(std::string_view text, std::vector<Range> ranges) {
    std::sort(ranges.begin(), ranges.end(),
              [](const Range& left, const Range& right) { return left.begin < right.begin; });
    std::string result;
    std::size_t position = 0;
    for (std::size_t i = 0; i < ranges.size();) {
        const std::size_t begin = ranges[i].begin;
        std::size_t end = ranges[i].end;
        for (++i; i < ranges.size() && ranges[i].begin <= end; ++i) {
            end = std::max(end, ranges[i].end);
        }
        result.append(text.substr(position, begin - position)).append(Mask);
        position = end;
    }
    return result.append(text.substr(position));
}

Secrets secretsOf(std::string_view text) {
    Secrets secrets = findSecrets(text);
    if (text.substr(0, ShortFile.size()) == ShortFile && text.size() > ShortFile.size()) {
        secrets.values.push_back({ShortFile.size(), text.size()});
    }
    return secrets;
}

/** Where a request that was broken off goes on to: the end that the library writes behind it. */
bool endsRequest(std::string_view text) {
    return trafficLine(text).kind == LineKind::Other &&
           payloadOf(text, {LineKind::Request, 0}).size() < text.size();
}

bool isEscaped(std::string_view text, std::size_t position) {
    const std::size_t before = text.substr(0, position).find_last_not_of('\\');
    return (position - (before == std::string_view::npos ? 0 : before + 1)) % 2 != 0;
}

/**
 * The end of the value in which a text without its beginning begins, or behind whose cut name it does; 0 when
 * the text looks like a message, whose closing tags tell.
 */
std::size_t endOfHeadlessValue(std::string_view text) {
    const bool isJson = endsRequest(text) || payloadOf(text, {LineKind::Response, 0}).size() < text.size();
    const std::size_t first = text.find_first_of(isJson ? "\"" : "\"<");
    if (!isJson && (first == std::string_view::npos || text[first] == '<')) {
        return 0;
    }
    for (std::size_t quote = first; quote != std::string_view::npos; quote = text.find('"', quote + 1)) {
        const std::size_t next = text.find_first_not_of(" \t\r\n", quote + 1);
        if (!isEscaped(text, quote) && next != std::string_view::npos &&
            std::string_view(",}]").find(text[next]) != std::string_view::npos) {
            return quote;
        }
    }
    return text.size();
}

class Broken {
public:
    Broken(std::vector<Entry>& entries, std::size_t index)
        : m_entries(entries), m_next(index + 1), m_last(std::min(index + LongestBreak, entries.size() - 1)) {}

    void maskTag(const std::string& tag) {
        for (std::size_t i = m_next; i <= m_last; ++i) {
            bool isOpened = false;
            const std::size_t closing = closingBeforeOpening(m_entries[i].text, tag, isOpened);
            if (isOpened) {
                return;
            }
            if (closing != std::string_view::npos) {
                maskUntil(i);
                std::string& text = m_entries[i].text;
                text = std::string(Mask) + text.substr(closing);
                return;
            }
        }
    }

    void maskRequest() {
        for (std::size_t i = m_next; i <= m_last; ++i) {
            if (trafficLine(m_entries[i].text).kind == LineKind::Request) {
                return;
            }
            if (endsRequest(m_entries[i].text)) {
                maskUntil(i + 1);
                return;
            }
        }
    }

private:
    void maskUntil(std::size_t end) {
        for (std::size_t i = m_next; i < end; ++i) {
            m_entries[i].text = Mask;
        }
    }

    std::vector<Entry>& m_entries;
    std::size_t m_next;
    std::size_t m_last;
};

} // namespace

std::string redacted(std::string_view text) {
    return masked(text, secretsOf(text).values);
}

void redact(std::vector<Entry>& entries, bool isBeginning) {
    for (std::size_t i = 0; i < entries.size(); ++i) {
        std::string& text = entries[i].text;
        const bool lacksBeginning = i == 0 && isBeginning && entries[i].head.empty();
        Secrets secrets = secretsOf(text);
        if (const std::size_t end = lacksBeginning ? endOfHeadlessValue(text) : 0; end > 0) {
            secrets.values.push_back({0, end});
        }
        const bool isBrokenRequest =
            secrets.hasOpenMember && trafficLine(text).kind == LineKind::Request &&
            payloadOf(text, trafficLine(text)).size() + trafficLine(text).payload == text.size();
        text = masked(text, std::move(secrets.values));
        if (!secrets.openTag.empty()) {
            Broken(entries, i).maskTag(secrets.openTag);
        }
        if (isBrokenRequest) {
            Broken(entries, i).maskRequest();
        }
    }
}

} // namespace pdactl::log
