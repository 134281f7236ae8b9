#include "log/Entries.h"

#include "log/DeclaredEnds.h"
#include "log/JsonScan.h"
#include "log/Traffic.h"

#include <algorithm>
#include <iterator>

namespace pdactl::log {

namespace {

constexpr std::size_t kComparedLength = 48; // of an imitation: its head and some of its text
constexpr std::size_t kRememberedFor = 32;  // entries
constexpr std::size_t kMaxRemembered = 256;

Level levelOf(char letter) {
    switch (letter) {
    case 'M':
        return Level::Message;
    case 'E':
        return Level::Error;
    case 'W':
        return Level::Warning;
    default:
        return Level::Info;
    }
}

Entry makeEntry(std::string_view bytes) {
    Entry entry;
    const std::size_t head = entryHeadLength(bytes);
    if (head != 0) {
        entry.head = bytes.substr(0, head);
        entry.time = *parseStamp(bytes);
        entry.level = levelOf(bytes[kStampLength]);
        bytes.remove_prefix(head);
    }
    std::size_t length = bytes.size();
    if (length > 0 && bytes[length - 1] == '\n') {
        length -= length > 1 && bytes[length - 2] == '\r' ? 2 : 1;
    }
    entry.text = bytes.substr(0, length);
    entry.lineEnd = bytes.substr(length);
    return entry;
}

/// Whether the end that the library writes after a request is missing.
bool lacksItsEnd(std::string_view text) {
    const TrafficLine line = trafficLine(text);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) {
        text.remove_suffix(1);
    }
    return line.kind == LineKind::Request && payloadOf(text, line).size() + line.payload == text.size();
}

} // namespace

std::vector<Entry> EntryReader::feed(std::string_view bytes) {
    m_pending += bytes;
    return take(false);
}

std::vector<Entry> EntryReader::finish() {
    return take(true);
}

std::vector<Entry> EntryReader::take(bool isEnd) {
    std::vector<Entry> entries;
    DeclaredEnds declaredEnds(m_pending);
    std::size_t begin = 0;
    while (begin < m_pending.size()) {
        const std::size_t end = endOf(begin, declaredEnds, isEnd);
        if (end == std::string_view::npos) {
            break;
        }
        entries.push_back(makeEntry(std::string_view(m_pending).substr(begin, end - begin)));
        ++m_entries;
        begin = end;
    }
    m_pending.erase(0, begin);
    return entries;
}

/// Where the entry that begins here ends, its line end included; npos when more bytes have to tell.
std::size_t EntryReader::endOf(std::size_t begin, DeclaredEnds& declaredEnds, bool isEnd) {
    const std::string_view bytes = m_pending;
    const std::size_t text = begin + entryHeadLength(bytes.substr(begin));
    bool needsMore = false;
    std::size_t end = declaredEnds.of(text, needsMore);
    if (end != std::string_view::npos) {
        rememberImitations(bytes.substr(text, end - text));
        const std::size_t lineEnd = bytes.find('\n', end);
        end = lineEnd == std::string_view::npos ? bytes.size() : lineEnd + 1;
    } else if (needsMore && !isEnd) {
        return std::string_view::npos;
    } else {
        end = nextHead(text);
        if (!isEnd && lacksItsEnd(bytes.substr(text, end - text))) {
            return std::string_view::npos;
        }
    }
    return end == bytes.size() && !isEnd ? std::string_view::npos : end;
}

std::size_t EntryReader::nextHead(std::size_t begin) const {
    const std::string_view bytes = m_pending;
    for (std::size_t found = bytes.find('\n', begin); found != std::string_view::npos;
         found = bytes.find('\n', found + 1)) {
        const std::string_view line = bytes.substr(found + 1);
        if (isEntryHead(line) && !isImitation(line)) {
            return found + 1;
        }
    }
    return bytes.size();
}

bool EntryReader::isImitation(std::string_view line) const {
    line = line.substr(0, line.find('\n'));
    return std::any_of(m_imitations.begin(), m_imitations.end(), [&](const Imitation& imitation) {
        const std::size_t length = std::min({imitation.line.size(), line.size(), kComparedLength});
        return m_entries - imitation.entry <= kRememberedFor &&
               line.substr(0, length) == std::string_view(imitation.line).substr(0, length);
    });
}

/// Values of requests and messages come back in later lines, with their line ends.
void EntryReader::rememberImitations(std::string_view text) {
    const std::string decoded =
        trafficLine(text).kind == LineKind::Request && text.find('\\') != std::string_view::npos
            ? unescaped(text)
            : std::string();
    m_imitations.erase(std::remove_if(m_imitations.begin(), m_imitations.end(),
                                      [&](const Imitation& imitation) {
                                          return m_entries - imitation.entry > kRememberedFor;
                                      }),
                       m_imitations.end());
    for (const std::string_view source : {text, std::string_view(decoded)}) {
        for (std::size_t found = source.find('\n'); found != std::string_view::npos;
             found = source.find('\n', found + 1)) {
            const std::string_view line = source.substr(found + 1);
            if (isEntryHead(line) && m_imitations.size() < kMaxRemembered) {
                m_imitations.push_back(
                    {std::string(line.substr(0, std::min(line.find('\n'), kComparedLength))), m_entries});
            }
        }
    }
}

std::vector<Entry> readEntries(std::string_view bytes) {
    EntryReader reader;
    std::vector<Entry> entries = reader.feed(bytes);
    std::vector<Entry> rest = reader.finish();
    entries.insert(entries.end(), std::make_move_iterator(rest.begin()), std::make_move_iterator(rest.end()));
    return entries;
}

} // namespace pdactl::log
