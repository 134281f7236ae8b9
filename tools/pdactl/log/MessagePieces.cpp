#include "log/MessagePieces.h"

#include "Transactions.h"
#include "log/DeclaredEnds.h"
#include "log/Traffic.h"

#include <algorithm>
#include <utility>

namespace pdactl::log {

namespace {

constexpr std::size_t kMaxTag = 80; // characters; what is longer is not a tag
constexpr std::string_view kContainer = "LockList";

enum class TagState { None, Cut, Whole };

struct Tag {
    TagState state = TagState::None;
    bool isClosing = false;
    std::string_view name;
    std::size_t begin = 0;
    std::size_t end = 0; ///< after its ">"
};

bool isNameCharacter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

/// The tag whose "<" is here.
Tag tagAt(std::string_view text, std::size_t begin) {
    const std::string_view markup = text.substr(begin, kMaxTag);
    const bool isClosing = markup.size() > 1 && markup[1] == '/';
    const std::size_t name = isClosing ? 2 : 1;
    std::size_t nameEnd = name;
    while (nameEnd < markup.size() && isNameCharacter(markup[nameEnd])) {
        ++nameEnd;
    }
    const std::size_t end = markup.find_first_not_of(" \t\r\n", nameEnd);
    if (end == std::string_view::npos) {
        return {markup.size() < kMaxTag ? TagState::Cut : TagState::None, isClosing, {}, begin, text.size()};
    }
    const bool isWhole = nameEnd > name && markup[end] == '>';
    return {isWhole ? TagState::Whole : TagState::None, isClosing, markup.substr(name, nameEnd - name), begin,
            begin + end + 1};
}

} // namespace

/// Goes through one piece, from one "<" to the next.
class MessagePieces::Scan {
public:
    Scan(MessagePieces& pieces, std::string_view text) : m_pieces(pieces), m_text(text) {}

    std::vector<Range> run() {
        std::size_t position = 0;
        while (position < m_text.size()) {
            if (m_pieces.m_secret.empty() && beginsMessage(m_text.substr(position))) {
                position += kMessageHeader;
                m_message = position;
            }
            const std::size_t bracket = std::min(m_text.find('<', position), m_text.size());
            hide(position, bracket);
            position = bracket < m_text.size() ? after(tagAt(m_text, bracket)) : bracket;
        }
        return std::move(m_hidden);
    }

private:
    void hide(std::size_t begin, std::size_t end) {
        if (begin < end) {
            m_hidden.push_back({begin, end});
        }
    }

    std::size_t hidden(const Tag& tag) {
        hide(tag.begin, tag.end);
        return tag.end;
    }

    /// Decides about a tag, and about its value when that is harmless. Returns where to go on.
    std::size_t after(Tag tag) {
        std::string& secret = m_pieces.m_secret;
        if (tag.state != TagState::Whole) {
            m_pieces.m_tail = tag.state == TagState::Cut ? m_text.substr(tag.begin) : std::string_view();
            tag.end = tag.state == TagState::Cut ? tag.end : tag.begin + 1;
            return hidden(tag);
        }
        const std::string name = secretName(tag.name);
        if (!secret.empty()) {
            const bool isItsEnd = tag.isClosing && name == secret;
            secret = isItsEnd ? std::string() : secret;
            return isItsEnd ? tag.end : hidden(tag);
        }
        if (name.empty()) {
            return afterHarmless(tag);
        }
        if (tag.isClosing) {
            hide(m_message, tag.begin); // its value began in a piece that is not there
        } else {
            secret = name;
        }
        return tag.end;
    }

    std::size_t afterHarmless(const Tag& tag) {
        if (tag.name == kContainer) {
            return tag.end;
        }
        const std::size_t valueEnd = m_text.find('<', tag.end);
        if (!tag.isClosing && valueEnd != std::string_view::npos) {
            const Tag end = tagAt(m_text, valueEnd);
            if (end.state == TagState::Whole && end.isClosing && end.name == tag.name) {
                return end.end;
            }
        }
        return hidden(tag);
    }

    MessagePieces& m_pieces;
    std::string_view m_text;
    std::vector<Range> m_hidden;
    std::size_t m_message = 0; ///< where the message begins that is being looked at, after its header
};

std::vector<Range> MessagePieces::add(std::string_view piece) {
    if (beginsMessage(piece)) {
        m_tail.clear();
        m_secret.clear();
    }
    m_isBroken = !areWholeMessages(piece);
    if (!m_isBroken) {
        return {};
    }
    const std::size_t shift = m_tail.size();
    const std::string text = std::exchange(m_tail, {}).append(piece);
    std::vector<Range> ranges = Scan(*this, text).run();
    for (Range& range : ranges) {
        range.begin = std::max(range.begin, shift) - shift;
        range.end = std::max(range.end, shift) - shift;
    }
    return ranges;
}

bool hasClosingTag(std::string_view text) {
    for (std::size_t found = text.find("</"); found != std::string_view::npos;
         found = text.find("</", found + 2)) {
        if (tagAt(text, found).state == TagState::Whole) {
            return true;
        }
    }
    return false;
}

} // namespace pdactl::log
