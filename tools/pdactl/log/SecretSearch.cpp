#include "log/SecretSearch.h"

#include "Transactions.h"
#include "log/JsonScan.h"

#include <algorithm>
#include <list>
#include <map>
#include <utility>

namespace pdactl::log {

namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::size_t kMaxNesting = 4; // of JSON in strings of JSON

bool isWordCharacter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

char at(std::string_view text, std::size_t position) {
    return position < text.size() ? text[position] : '\0';
}

std::size_t skip(std::string_view text, std::size_t position, std::string_view characters) {
    return std::min(text.find_first_not_of(characters, position), text.size());
}

bool isQuote(char c) {
    return c == '"' || c == '\'';
}

/// Whether "</" precedes the name; its "/" may be escaped. Returns where it begins, npos for no.
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

/// The words of a text, one after the other.
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

/// Looks through a text as it is, or through one whose escapes have been resolved once more.
class Search {
public:
    explicit Search(std::string_view text) : m_text(text) {}
    Search(DecodedText&& resolved, Search& parent)
        : m_decoded(std::move(resolved)), m_text(m_decoded.text), m_parent(&parent) {
        parent.m_masked = 0; // it is asked once more, from its beginning on
    }
    Search(const Search&) = delete;
    Search& operator=(const Search&) = delete;

    std::string_view text() const { return m_text; }
    const Secrets& found() const { return m_found; }

    /// Where a position was before any escape was resolved.
    std::size_t origin(std::size_t position) const {
        return m_parent == nullptr ? position : m_parent->origin(m_decoded.origins[position]);
    }

    void run() {
        Words words(m_text);
        while (words.next()) {
            const std::string name = secretName(words.word());
            if (name.empty()) {
                continue;
            }
            if (const std::size_t closing = closingTagAt(m_text, words.begin());
                closing != std::string_view::npos) {
                close(name, closing);
            } else if (words.begin() > 0 && m_text[words.begin() - 1] == '<') {
                open(name, words.end());
            } else {
                member(words.begin(), words.end());
            }
        }
        for (const auto& [name, value] : m_openings) {
            add(value, m_text.size());
        }
        const auto outermost =
            std::min_element(m_openings.begin(), m_openings.end(),
                             [](const auto& left, const auto& right) { return left.second < right.second; });
        m_found.openTag = outermost != m_openings.end() ? outermost->first : std::string();
    }

private:
    void add(std::size_t begin, std::size_t end) {
        if (begin < end) {
            m_found.values.push_back({begin, end});
        }
    }

    void open(const std::string& name, std::size_t nameEnd) {
        const std::size_t bracket = skip(m_text, nameEnd, kBlanks);
        m_openings.emplace(name, at(m_text, bracket) == '>' ? bracket + 1 : nameEnd);
    }

    /// Ends the value that the tag has begun. Without one, what precedes it may be the rest of one.
    void close(const std::string& name, std::size_t position) {
        const auto opening = m_openings.find(name);
        if (opening != m_openings.end()) {
            add(opening->second, position);
            m_openings.erase(opening);
        } else {
            const std::size_t bracket = m_text.substr(m_closed, position - m_closed).rfind('>');
            add(bracket == std::string_view::npos ? m_closed : m_closed + bracket + 1, position);
        }
        m_closed = position;
    }

    /// Whether a character is the same without resolving escapes.
    bool isRaw(std::size_t position) const {
        if (m_parent == nullptr || position >= m_text.size()) {
            return true;
        }
        const std::size_t before = m_decoded.origins[position];
        return m_decoded.origins[position + 1] == before + 1 && m_parent->m_text[before] == m_text[position];
    }

    /// A name is what is between quotes, or a word without any. Names inside a masked value are skipped.
    void member(std::size_t nameBegin, std::size_t nameEnd) {
        if (nameEnd < m_masked) {
            return;
        }
        const std::size_t quote = quoteAfter(nameEnd);
        const bool isQuoted = quote < m_text.size();
        if (m_parent != nullptr && isQuoted && isRaw(quote)) {
            // Its value has escapes of its own.
            m_parent->member(m_decoded.origins[nameBegin], m_decoded.origins[quote]);
            return;
        }
        const std::size_t separator = isQuoted ? quote + 1 : nameEnd;
        const std::size_t value = skip(m_text, separator, " \t\r\n:=");
        const bool hasSign =
            m_text.substr(separator, value - separator).find_first_of(":=") != std::string_view::npos;
        const char first = at(m_text, value);
        if (hasSign || (isQuote(first) && quote == nameEnd)) {
            values(value);
        } else if (quote == nameEnd && nameBegin > 0 && isQuote(m_text[nameBegin - 1]) &&
                   std::string_view(",]}").find(first) != std::string_view::npos) {
            restOfContainer(value);
        }
    }

    /// The quote that ends a name which may go on a little after a word; the text's size without one.
    std::size_t quoteAfter(std::size_t nameEnd) const {
        constexpr std::size_t kMaxRest = 32;
        const std::string_view name = m_text.substr(nameEnd, kMaxRest);
        const std::size_t end = name.find_first_of("\"'\\,:=<>{}\n");
        return end != std::string_view::npos && isQuote(name[end]) ? nameEnd + end : m_text.size();
    }

    /// A member's value, and more of them where a list has lost its brackets.
    void values(std::size_t position) {
        for (bool isValue = position < m_text.size(); isValue;) {
            m_masked = endOfValue(position);
            const char first = m_text[position];
            const bool isClosed = isQuote(first) && m_masked > position + 1 && m_text[m_masked - 1] == first;
            add(position + (isQuote(first) ? 1 : 0), m_masked - (isClosed ? 1 : 0));
            const std::size_t comma = skip(m_text, m_masked, kBlanks);
            position = skip(m_text, comma, ", \t\r\n");
            isValue = at(m_text, comma) == ',' && isNamelessValue(position);
        }
    }

    bool isNamelessValue(std::size_t position) const {
        const char first = at(m_text, position);
        if (!isQuote(first)) {
            return std::string_view("[{-0123456789").find(first) != std::string_view::npos;
        }
        const std::size_t end = closingQuote(position + 1, first, false);
        return at(m_text, skip(m_text, end + 1, kBlanks)) != ':';
    }

    /// After the value that begins here; the end of the text when it has none.
    std::size_t endOfValue(std::size_t begin) const {
        const char first = at(m_text, begin);
        if (isQuote(first)) {
            return std::min(closingQuote(begin + 1, first, true) + 1, m_text.size());
        }
        if (first == '{' || first == '[') {
            return std::min(closingBracket(begin) + 1, m_text.size());
        }
        return endOfWord(begin);
    }

    bool endsValue(std::size_t position) const {
        const std::size_t next = skip(m_text, position, kBlanks);
        return next == m_text.size() || m_text[next] == ',' || m_text[next] == '}' || m_text[next] == ']';
    }

    /// Where a value is damaged, only a quote at which a value can end is taken for its end.
    std::size_t closingQuote(std::size_t begin, char quote, bool endsHere) const {
        for (std::size_t i = begin; i < m_text.size(); ++i) {
            if (m_text[i] == '\\' && !(m_parent != nullptr && isRaw(i + 1) && at(m_text, i + 1) == quote)) {
                ++i;
            } else if (m_text[i] == quote && (!endsHere || endsValue(i + 1))) {
                return i;
            }
        }
        return m_text.size();
    }

    /// The bracket that closes what is open at `begin`, strings left out; the text's size without one.
    std::size_t closingBracket(std::size_t begin, std::size_t depth = 0) const {
        for (std::size_t i = begin; i < m_text.size(); ++i) {
            const char c = m_text[i];
            if (isQuote(c)) {
                i = closingQuote(i + 1, c, false);
            } else if (c == '{' || c == '[') {
                ++depth;
            } else if ((c == '}' || c == ']') && --depth == 0) {
                return i;
            }
        }
        return m_text.size();
    }

    /// A number or a word; anything else is not JSON, and nobody knows where it ends.
    std::size_t endOfWord(std::size_t begin) const {
        std::size_t end = begin;
        while (end < m_text.size() && (isWordCharacter(m_text[end]) || m_text[end] == '-' ||
                                       m_text[end] == '+' || m_text[end] == '.')) {
            ++end;
        }
        if (m_text.substr(begin, kMask.size()) == kMask) {
            end = begin + kMask.size();
        }
        return end > begin && endsValue(end) ? end : m_text.size();
    }

    /// A name that is itself a value, in a list for example: what follows may be what it names.
    void restOfContainer(std::size_t position) {
        const std::size_t begin = skip(m_text, position, ",]} \t\r\n");
        if (std::string_view("\"'[{-0123456789").find(at(m_text, begin)) != std::string_view::npos) {
            m_masked = closingBracket(begin, 1);
            add(begin, m_masked);
        }
    }

    DecodedText m_decoded;
    std::string_view m_text;
    Search* m_parent = nullptr;
    Secrets m_found;
    std::map<std::string, std::size_t> m_openings; ///< where the values of open tags begin
    std::size_t m_closed = 0;                      ///< where the last closing tag begins
    std::size_t m_masked = 0;                      ///< where the last member's value ends
};

} // namespace

Secrets findSecrets(std::string_view text) {
    std::list<Search> searches;
    searches.emplace_back(text).run();
    for (std::size_t depth = 0;
         depth < kMaxNesting && searches.back().text().find('\\') != std::string_view::npos; ++depth) {
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
    }
    return secrets;
}

} // namespace pdactl::log
