#include "log/Entries.h"

#include "Text.h"
#include "log/JsonScan.h"
#include "log/Traffic.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <optional>

namespace pdactl::log {

namespace {

constexpr std::size_t kComparedLength = 48; // of an imitation: its head and some of its text
constexpr std::size_t kRememberedFor = 32;  // entries
constexpr std::size_t kMaxRemembered = 256;
constexpr std::size_t kMaxSuffix = 128;     // after a message, the next entry's head included
constexpr std::size_t kMinMessage = 10;     // its length and its type
constexpr int kMaxMessages = 64;            // in one entry whose lengths are believed
constexpr int kMaxRequestImitations = 1000; // what imitates more entries is taken for them

/// With what an entry begins; of no length when none begins.
struct Head {
    std::size_t length = 0;
    Time time = 0;
    Level level = Level::Info;
};

Head headOf(std::string_view text) {
    constexpr std::array<std::string_view, 4> kLevelWords{
        "MESSAGE  : ", "ERROR  : ", "WARNING  : ", "INFO     : "}; // in the order of the levels
    const std::optional<Time> time = parseStamp(text);
    for (std::size_t level = 0; time && level < kLevelWords.size(); ++level) {
        if (startsWith(text.substr(kStampLength), kLevelWords.at(level))) {
            return {kStampLength + kLevelWords.at(level).size(), *time, static_cast<Level>(level)};
        }
    }
    return {};
}

/// Where the lines begin that look like entries, except the first line.
std::vector<std::size_t> headsIn(std::string_view text) {
    std::vector<std::size_t> heads;
    for (std::size_t end = text.find('\n'); end != kNone; end = text.find('\n', end + 1)) {
        if (headOf(text.substr(end + 1)).length != 0) {
            heads.push_back(end + 1);
        }
    }
    return heads;
}

std::size_t lineEndLength(std::string_view bytes) {
    const bool hasLineEnd = !bytes.empty() && bytes.back() == '\n';
    return !hasLineEnd ? 0 : bytes.size() > 1 && bytes[bytes.size() - 2] == '\r' ? 2 : 1;
}

/// Whether what the library writes after a request is missing.
bool lacksTail(std::string_view text) {
    text.remove_suffix(lineEndLength(text));
    return trafficLine(text).kind == LineKind::Request && !hasJsonTail(text);
}

Entry makeEntry(std::string_view bytes, bool isWhole) {
    const Head head = headOf(bytes);
    const std::size_t end = bytes.size() - lineEndLength(bytes);
    return {std::string(bytes.substr(0, head.length)),
            std::string(bytes.substr(head.length, end - head.length)),
            std::string(bytes.substr(end)),
            head.time,
            head.level,
            isWhole};
}

/// Counts characters as messages do, in UTF-16 units, without going through the text for each position.
class Units {
public:
    explicit Units(std::string_view text) : m_text(text) {
        for (std::size_t begin = 0; begin < text.size(); begin += kBlock) {
            m_before.push_back(m_before.back() + unitsIn(text.substr(begin, kBlock)));
        }
    }

    /// The position this many units after one; kNone beyond the text's end.
    std::size_t after(std::size_t begin, std::size_t units) const {
        const std::size_t block = begin / kBlock;
        const std::size_t target =
            m_before[block] + unitsIn(m_text.substr(block * kBlock, begin - block * kBlock)) + units;
        const auto next = std::upper_bound(m_before.begin(), m_before.end(), target);
        std::size_t position = static_cast<std::size_t>(next - m_before.begin() - 1) * kBlock;
        position = std::min(position, m_text.size());
        for (std::size_t count = *std::prev(next); position < m_text.size(); ++position) {
            count += unitsOf(m_text[position]);
            if (count > target) {
                break;
            }
        }
        return position < m_text.size() || m_before.back() == target ? position : kNone;
    }

private:
    static constexpr std::size_t kBlock = 1024; // bytes

    /// Those of the character that begins with this byte; 0 inside a character.
    static std::size_t unitsOf(char byte) {
        const auto value = static_cast<unsigned char>(byte);
        return (value & 0xC0U) == 0x80U ? 0 : value >= 0xF0U ? 2 : 1;
    }

    static std::size_t unitsIn(std::string_view text) {
        std::size_t units = 0;
        for (const char byte : text) {
            units += unitsOf(byte);
        }
        return units;
    }

    std::string_view m_text;
    std::vector<std::size_t> m_before{0}; ///< each block
};

/// Where entries end: by what they say themselves, or where the next one seems to begin.
class Ends {
public:
    explicit Ends(std::string_view bytes) : m_bytes(bytes), m_heads(headsIn(bytes)), m_units(bytes) {
        m_heads.push_back(bytes.size());
    }

    /// The first place after this one where another entry may begin, or the bytes' end.
    std::vector<std::size_t>::const_iterator next(std::size_t begin) const {
        return std::upper_bound(m_heads.begin(), std::prev(m_heads.end()), begin);
    }

    /// Where the entry ends whose text begins here, by its declared length. kNone when it has none or a wrong
    /// one; `needsMore` is set when only more bytes can tell.
    std::size_t declared(std::size_t begin, bool& needsMore) const {
        const TrafficLine line = trafficLine(m_bytes.substr(begin));
        if (line.kind == LineKind::Request) {
            return ofRequest(begin + line.payload);
        }
        if (!line.isMessage()) {
            return kNone;
        }
        bool bytesNeedMore = false;
        const std::size_t end = ofMessages(begin + line.payload, line.tail, false, needsMore);
        // Some messages are logged as bytes of an encoding that happens to look like another.
        return end != kNone ? end : ofMessages(begin + line.payload, line.tail, true, bytesNeedMore);
    }

private:
    /// The end of a run of messages; kNone when their lengths lead nowhere.
    std::size_t ofMessages(std::size_t begin, std::string_view tail, bool inBytes, bool& needsMore) const {
        for (int message = 0; message < kMaxMessages; ++message) {
            const std::optional<std::size_t> length = declaredLength(m_bytes.substr(begin));
            if (!length || *length < kMinMessage) {
                return kNone;
            }
            const bool isCut = inBytes && *length > m_bytes.size() - begin;
            begin = isCut ? kNone : inBytes ? begin + *length : m_units.after(begin, *length);
            if (begin == kNone) {
                needsMore = true;
                return kNone;
            }
            // A wrong length may lead anywhere: a message ends with a tag, unless it has none.
            const bool canEnd = *length == kMessageHeader || m_bytes[begin - 1] == '>';
            const std::size_t end =
                canEnd ? entryAfter(begin + tailLength(m_bytes.substr(begin), tail)) : kNone;
            if (end != kNone) {
                return end;
            }
            needsMore = m_bytes.size() - begin < kMaxSuffix;
        }
        return kNone;
    }

    /// The end of a request, after which its number of bytes is written.
    std::size_t ofRequest(std::size_t begin) const {
        constexpr std::string_view kLabel = " inLen:";
        auto end = next(begin);
        for (int tried = 0; tried < kMaxRequestImitations && end != m_heads.end(); ++tried, ++end) {
            std::string_view text = m_bytes.substr(begin, *end - begin);
            text.remove_suffix(lineEndLength(text));
            const std::size_t digits = text.rfind(':') + 1;
            std::size_t length = 0;
            const auto [after, error] =
                std::from_chars(text.data() + digits, text.data() + text.size(), length);
            if (error == std::errc() && after == text.data() + text.size() &&
                digits == length + kLabel.size() && text.substr(length, kLabel.size()) == kLabel) {
                return *end;
            }
        }
        return kNone;
    }

    /// The entry that begins after a line end here, or the bytes' end; kNone when there is none.
    std::size_t entryAfter(std::size_t position) const {
        const std::size_t lineEnd = m_bytes.substr(position, 2) == "\r\n" ? 2
                                    : m_bytes.substr(position, 1) == "\n" ? 1
                                                                          : 0;
        position += lineEnd;
        const bool isEnd = lineEnd == 0 ? position == m_bytes.size()
                                        : std::binary_search(m_heads.begin(), m_heads.end(), position);
        return isEnd ? position : kNone;
    }

    std::string_view m_bytes;
    std::vector<std::size_t> m_heads; ///< and the bytes' end
    Units m_units;
};

} // namespace

std::vector<Entry> EntryReader::feed(std::string_view bytes) {
    m_pending += bytes;
    return take(false);
}

std::vector<Entry> EntryReader::finish(std::string_view bytes) {
    m_pending += bytes;
    return take(true);
}

std::vector<Entry> EntryReader::take(bool isEnd) {
    std::vector<Entry> entries;
    const std::string_view bytes = m_pending;
    const Ends ends(bytes);
    std::size_t begin = 0;
    while (begin < bytes.size()) {
        const std::size_t text = begin + headOf(bytes.substr(begin)).length;
        bool needsMore = false;
        std::size_t end = ends.declared(text, needsMore);
        const bool isWhole = end != kNone;
        if (!isWhole) {
            auto next = ends.next(begin);
            while (*next < bytes.size() && isImitation(bytes.substr(*next))) {
                ++next;
            }
            end = *next;
            needsMore = needsMore || lacksTail(bytes.substr(text, end - text));
        }
        if (!isEnd && (needsMore || end == bytes.size())) {
            break;
        }
        if (isWhole) {
            rememberImitations(bytes.substr(text, end - text));
        }
        entries.push_back(makeEntry(bytes.substr(begin, end - begin), isWhole));
        ++m_entries;
        begin = end;
    }
    m_pending.erase(0, begin);
    return entries;
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
    const auto isOld = [&](const Imitation& each) { return m_entries - each.entry > kRememberedFor; };
    m_imitations.erase(std::remove_if(m_imitations.begin(), m_imitations.end(), isOld), m_imitations.end());
    const bool isEscaped =
        trafficLine(text).kind == LineKind::Request && text.find('\\') != std::string_view::npos;
    const std::string decoded = isEscaped ? unescaped(text) : std::string();
    for (const std::string_view source : {text, std::string_view(decoded)}) {
        for (const std::size_t head : headsIn(source)) {
            if (m_imitations.size() < kMaxRemembered) {
                const std::string_view line = source.substr(head, kComparedLength);
                m_imitations.push_back({std::string(line.substr(0, line.find('\n'))), m_entries});
            }
        }
    }
}

std::vector<Entry> readEntries(std::string_view bytes) {
    return EntryReader().finish(bytes);
}

} // namespace pdactl::log
