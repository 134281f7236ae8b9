#include "log/JsonScan.h"

#include <QString>

#include <algorithm>
#include <charconv>

namespace pdactl::log {

namespace {

/// The UTF-16 unit of an escape "\\uXXXX" that begins here.
std::optional<char16_t> unitAt(std::string_view text) {
    constexpr std::size_t kLength = 6;
    unsigned int unit = 0;
    if (text.size() < kLength || text.substr(0, 2) != "\\u" ||
        std::from_chars(text.data() + 2, text.data() + kLength, unit, 16).ptr != text.data() + kLength) {
        return {};
    }
    return static_cast<char16_t>(unit);
}

struct Escape {
    std::size_t length = 1; ///< of the escape itself; 1 when it is none
    std::string meaning;
};

Escape unicodeEscape(std::string_view text) {
    constexpr std::size_t kLength = 6;
    const std::optional<char16_t> first = unitAt(text);
    if (!first) {
        return {1, "\\"};
    }
    const std::optional<char16_t> second = unitAt(text.substr(kLength));
    if (second && QChar::isHighSurrogate(*first) && QChar::isLowSurrogate(*second)) {
        return {2 * kLength, (QString(QChar(*first)) + QChar(*second)).toStdString()};
    }
    return {kLength, QString(QChar(*first)).toStdString()};
}

Escape escapeAt(std::string_view text) {
    constexpr std::string_view kLetters = "\"\\/bfnrt";
    constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
    if (text.size() > 1 && text[1] == 'u') {
        return unicodeEscape(text);
    }
    const std::size_t letter = text.size() > 1 ? kLetters.find(text[1]) : std::string_view::npos;
    return letter == std::string_view::npos ? Escape{1, "\\"} : Escape{2, std::string(1, kMeanings[letter])};
}

/// Reads JSON from the front; every function returns false, or nothing, at the first thing that is none.
class Cursor {
public:
    explicit Cursor(std::string_view text) : m_text(text) {}

    bool take(char expected) {
        skipBlanks();
        if (m_text.empty() || m_text.front() != expected) {
            return false;
        }
        m_text.remove_prefix(1);
        return true;
    }

    /// The inside of a string, escapes and all.
    std::optional<std::string_view> takeString() {
        skipBlanks();
        if (m_text.empty() || m_text.front() != '"') {
            return {};
        }
        for (std::size_t i = 1; i < m_text.size(); ++i) {
            if (m_text[i] == '\\') {
                ++i;
            } else if (m_text[i] == '"') {
                const std::string_view inside = m_text.substr(1, i - 1);
                m_text.remove_prefix(i + 1);
                return inside;
            }
        }
        return {};
    }

    /// A number, true, false or null, by its looks.
    std::string_view takeWord() {
        skipBlanks();
        const std::size_t length = std::min(m_text.find_first_of(",]} \t\r\n\":[{"), m_text.size());
        const std::string_view word = m_text.substr(0, length);
        m_text.remove_prefix(length);
        return word;
    }

    /// Skips a value of any depth without recursion.
    bool skipValue() {
        std::string open;
        do {
            if (take('{')) {
                open += '}';
            } else if (take('[')) {
                open += ']';
            } else if (!open.empty() && take(open.back())) {
                open.pop_back();
            } else if (!open.empty() && (take(',') || take(':'))) {
                continue;
            } else if (!takeString() && takeWord().empty()) {
                return false;
            }
        } while (!open.empty());
        return true;
    }

    std::optional<std::string> takeScalar() {
        if (const std::optional<std::string_view> text = takeString()) {
            return unescaped(*text);
        }
        const std::string_view word = takeWord();
        return word.empty() ? std::nullopt : std::optional(std::string(word));
    }

    bool isAtEnd() {
        skipBlanks();
        return m_text.empty();
    }

private:
    void skipBlanks() { m_text.remove_prefix(std::min(m_text.find_first_not_of(" \t\r\n"), m_text.size())); }

    std::string_view m_text;
};

} // namespace

DecodedText decoded(std::string_view text) {
    DecodedText result;
    result.text.reserve(text.size());
    result.origins.reserve(text.size() + 1);
    std::size_t position = 0;
    while (position < text.size()) {
        const Escape escape = text[position] == '\\' ? escapeAt(text.substr(position))
                                                     : Escape{1, std::string(1, text[position])};
        result.text += escape.meaning;
        result.origins.resize(result.text.size(), position);
        position += escape.length;
    }
    result.origins.push_back(text.size());
    return result;
}

std::string unescaped(std::string_view text) {
    return decoded(text).text;
}

std::optional<std::vector<std::string>> rootNames(std::string_view json) {
    std::vector<std::string> names;
    Cursor cursor(json);
    if (!cursor.take('{')) {
        return {};
    }
    bool hasMore = !cursor.take('}');
    const bool isEmpty = !hasMore;
    while (hasMore) {
        const std::optional<std::string_view> name = cursor.takeString();
        if (!name || !cursor.take(':') || !cursor.skipValue()) {
            return {};
        }
        names.push_back(unescaped(*name));
        hasMore = cursor.take(',');
    }
    return (isEmpty || cursor.take('}')) && cursor.isAtEnd() ? std::optional(names) : std::nullopt;
}

std::optional<std::string> rootMember(std::string_view json, std::string_view name) {
    Cursor cursor(json);
    if (!cursor.take('{')) {
        return {};
    }
    do {
        const std::optional<std::string_view> key = cursor.takeString();
        if (!key || !cursor.take(':')) {
            return {};
        }
        if (unescaped(*key) == name) {
            return cursor.takeScalar();
        }
    } while (cursor.skipValue() && cursor.take(','));
    return {};
}

} // namespace pdactl::log
