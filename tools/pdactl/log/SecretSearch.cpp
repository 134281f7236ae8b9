#include "log/SecretSearch.h"

#include "log/JsonText.h"
#include "log/SecretNames.h"

#include <algorithm>
#include <list>
#include <utility>

namespace pdactl::log {

namespace {

constexpr std::string_view Blanks = " \t\r\n";
constexpr std::size_t DeepestNesting = 4; // of JSON in strings of JSON

bool isWordCharacter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

char at(std::string_view text, std::size_t position) {
    return position < text.size() ? text[position] : '\0';
}

std::size_t skip(std::string_view text, std::size_t position, std::string_view characters) {
    return std::min(text.find_first_not_of(characters, position), text.size());
}

/** Whether "</" stands in front of the name; its "/" may be escaped. Returns where it begins, npos for no. */
std::size_t closingTagAt(std::string_view text, std::size_t name) {
    std::size_t position = name;
    if (position == 0 || text[--position] != '/') {
        return std::string_view::npos;
    }
    while (position > 0 && text[position - 1] == '\\') {
        --position;
    }
    return position > 0 && text[position - 1] == '<' ? position - 1 : std::string_view::npos;
}

/** The words of a text, one after the other. */
class Words {
public:
    explicit Words(std::string_view text) : m_text(text) {}

    bool next() {
        m_begin = m_end;
        while (m_begin < m_text.size() && !isWordCharacter(m_text[m_begin])) {
            ++m_begin;
        }
        m_end = m_begin;
        while (m_end < m_text.size() && isWordCharacter(m_text[m_end])) {
            ++m_end;
        }
        return m_begin < m_text.size();
    }

    std::size_t begin() const { return m_begin; }
    std::size_t end() const { return m_end; }
    std::string_view word() const { return m_text.substr(m_begin, m_end - m_begin); }

private:
    std::string_view m_text;
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
};

/** Looks through a text as it stands, or through one whose escapes have been resolved once more. */
class Search {
public:
    explicit Search(std::string_view text) : m_text(text) {}
    Search(DecodedText&& resolved, Search& parent)
        : m_decoded(std::move(resolved)), m_text(m_decoded.text), m_parent(&parent) {}
    Search(const Search&) = delete;
    Search& operator=(const Search&) = delete;

    std::string_view text() const { return m_text; }
    const Secrets& found() const { return m_found; }

    /** Where a position was before any escape was resolved. */
    std::size_t origin(std::size_t position) const {
        return m_parent == nullptr ? position : m_parent->origin(m_decoded.origins[position]);
    }

    void run() {
        Words words(m_text);
        while (words.next()) {
            const std::string_view name = secretName(words.word());
            if (name.empty()) {
                continue;
            }
            if (const std::size_t closing = closingTagAt(m_text, words.begin());
                closing != std::string_view::npos) {
                close(name, closing);
            } else if (words.begin() > 0 && m_text[words.begin() - 1] == '<') {
                open(name, words.end());
            } else {
                member(words.end());
            }
        }
        for (const Opening& opening : m_openings) {
            add(opening.value, m_text.size());
            m_found.openTag = opening.name;
        }
    }

private:
    struct Opening {
        std::string_view name;
        std::size_t value;
    };

    void add(std::size_t begin, std::size_t end) {
        if (begin < end) {
            m_found.values.push_back({begin, end});
        }
    }

    void open(std::string_view name, std::size_t nameEnd) {
        const std::size_t bracket = m_text.find('>', nameEnd);
        const bool isTag = bracket != std::string_view::npos &&
                           (bracket == nameEnd || Blanks.find(m_text[nameEnd]) != std::string_view::npos);
        m_openings.push_back({name, isTag ? bracket + 1 : nameEnd});
    }

    /** Ends every value that the tag has begun. Without one, what stands before it may be the rest of one. */
    void close(std::string_view name, std::size_t position) {
        const auto isIt = [&](const Opening& opening) { return opening.name == name; };
        for (const Opening& opening : m_openings) {
            if (isIt(opening)) {
                add(opening.value, position);
            }
        }
        const auto ended = std::remove_if(m_openings.begin(), m_openings.end(), isIt);
        if (ended == m_openings.end()) {
            const std::size_t bracket = m_text.substr(m_closed, position - m_closed).rfind('>');
            add(bracket == std::string_view::npos ? m_closed : m_closed + bracket + 1, position);
        }
        m_openings.erase(ended, m_openings.end());
        m_closed = position;
    }

    /** Whether a character is the same without resolving escapes. */
    bool isRaw(std::size_t position) const {
        if (m_parent == nullptr || position >= m_text.size()) {
            return true;
        }
        const std::size_t before = m_decoded.origins[position];
        return m_decoded.origins[position + 1] == before + 1 && m_parent->m_text[before] == m_text[position];
    }

    void member(std::size_t nameEnd) {
        const char quote = at(m_text, nameEnd);
        const bool isQuoted = quote == '"' || quote == '\'';
        if (m_parent != nullptr && isQuoted && isRaw(nameEnd)) {
            m_parent->member(m_decoded.origins[nameEnd]); // its value has escapes of its own
            return;
        }
        const std::size_t separator = nameEnd + (isQuoted ? 1 : 0);
        const std::size_t value = skip(m_text, separator, " \t\r\n:=");
        const bool hasSign =
            m_text.substr(separator, value - separator).find_first_of(":=") != std::string_view::npos;
        const char first = at(m_text, value);
        if (value == m_text.size()) {
            return;
        }
        if (first == '"' || first == '\'') {
            if (hasSign || isQuoted) {
                string(value + 1, first);
            }
        } else if (hasSign) {
            first == '{' || first == '[' ? composite(value) : bare(value);
        }
    }

    bool endsValue(std::size_t position) const {
        const std::size_t next = skip(m_text, position, Blanks);
        return next == m_text.size() || m_text[next] == ',' || m_text[next] == '}' || m_text[next] == ']';
    }

    /** A quote ends the value only where a value can end: in a damaged text it may be part of it. */
    void string(std::size_t begin, char quote) {
        for (std::size_t i = begin; i < m_text.size(); ++i) {
            if (m_text[i] == '\\' && !(m_parent != nullptr && isRaw(i + 1) && at(m_text, i + 1) == quote)) {
                ++i;
            } else if (m_text[i] == quote && endsValue(i + 1)) {
                add(begin, i);
                return;
            }
        }
        openMember(begin);
    }

    void composite(std::size_t begin) {
        std::size_t depth = 0;
        bool isInString = false;
        for (std::size_t i = begin; i < m_text.size(); ++i) {
            const char c = m_text[i];
            if (isInString && c == '\\') {
                ++i;
            } else if (c == '"') {
                isInString = !isInString;
            } else if (!isInString && (c == '{' || c == '[')) {
                ++depth;
            } else if (!isInString && (c == '}' || c == ']') && --depth == 0) {
                add(begin, i + 1);
                return;
            }
        }
        openMember(begin);
    }

    /** A number or a word; anything else is no JSON, and nobody knows where it ends. */
    void bare(std::size_t begin) {
        std::size_t end = begin;
        while (end < m_text.size() && (isWordCharacter(m_text[end]) || m_text[end] == '-' ||
                                       m_text[end] == '+' || m_text[end] == '.')) {
            ++end;
        }
        if (m_text.substr(begin, Mask.size()) == Mask) {
            end = begin + Mask.size();
        }
        if (end > begin && endsValue(end)) {
            add(begin, end);
        } else {
            openMember(begin);
        }
    }

    void openMember(std::size_t begin) {
        add(begin, m_text.size());
        m_found.hasOpenMember = true;
    }

    DecodedText m_decoded;
    std::string_view m_text;
    Search* m_parent = nullptr;
    Secrets m_found;
    std::vector<Opening> m_openings;
    std::size_t m_closed = 0; ///< where the last closing tag begins
};

} // namespace

Secrets findSecrets(std::string_view text) {
    std::list<Search> searches;
    searches.emplace_back(text).run();
    for (std::size_t depth = 0;
         depth < DeepestNesting && searches.back().text().find('\\') != std::string_view::npos; ++depth) {
        Search& parent = searches.back();
        searches.emplace_back(decoded(parent.text()), parent).run();
    }
    Secrets secrets;
    for (const Search& search : searches) {
        for (const Range& range : search.found().values) {
            secrets.values.push_back({search.origin(range.begin), search.origin(range.end)});
        }
        if (!search.found().openTag.empty()) {
            secrets.openTag = search.found().openTag;
        }
        secrets.hasOpenMember = secrets.hasOpenMember || search.found().hasOpenMember;
    }
    return secrets;
}

std::size_t closingBeforeOpening(std::string_view text, std::string_view tag, bool& isOpened) {
    isOpened = false;
    Words words(text);
    while (words.next()) {
        if (secretName(words.word()) != tag) {
            continue;
        }
        const std::size_t closing = closingTagAt(text, words.begin());
        if (closing != std::string_view::npos) {
            return closing;
        }
        if (words.begin() > 0 && text[words.begin() - 1] == '<') {
            isOpened = true;
            return std::string_view::npos;
        }
    }
    return std::string_view::npos;
}

} // namespace pdactl::log
