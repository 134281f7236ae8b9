#include "log/JsonText.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>

namespace pdactl::log {

namespace {

constexpr std::string_view Replacement = "\xEF\xBF\xBD";

std::optional<std::uint32_t> hexNumber(std::string_view digits) {
    constexpr std::size_t count = 4;
    if (digits.size() < count) {
        return {};
    }
    std::uint32_t number = 0;
    for (const char digit : digits.substr(0, count)) {
        constexpr std::string_view values = "0123456789abcdefABCDEF";
        const std::size_t value = values.find(digit);
        if (value == std::string_view::npos) {
            return {};
        }
        number = number * 16 + static_cast<std::uint32_t>(value > 15 ? value - 6 : value);
    }
    return number;
}

std::string utf8(std::uint32_t code) {
    const auto byte = [](std::uint32_t value) {
        return static_cast<char>(static_cast<unsigned char>(value));
    };
    if (code < 0x80) {
        return {byte(code)};
    }
    if (code < 0x800) {
        return {byte(0xC0U | code >> 6), byte(0x80U | (code & 0x3FU))};
    }
    if (code < 0x10000) {
        return {byte(0xE0U | code >> 12), byte(0x80U | (code >> 6 & 0x3FU)), byte(0x80U | (code & 0x3FU))};
    }
    return {byte(0xF0U | code >> 18), byte(0x80U | (code >> 12 & 0x3FU)), byte(0x80U | (code >> 6 & 0x3FU)),
            byte(0x80U | (code & 0x3FU))};
}

struct Escape {
    std::size_t length = 1; ///< of the escape itself; 1 when it is none
    std::string meaning;
};

Escape unicodeEscape(std::string_view text) {
    const std::optional<std::uint32_t> first = hexNumber(text.substr(2));
    if (!first) {
        return {1, "\\"};
    }
    const bool isPair = *first >= 0xD800 && *first < 0xDC00 && text.substr(6, 2) == "\\u";
    const std::optional<std::uint32_t> second = isPair ? hexNumber(text.substr(8)) : std::nullopt;
    if (second && *second >= 0xDC00 && *second < 0xE000) {
        return {12, utf8(0x10000 + ((*first - 0xD800) << 10) + (*second - 0xDC00))};
    }
    return {6, utf8(*first)};
}

Escape escapeAt(std::string_view text) {
    constexpr std::string_view letters = "\"\\/bfnrt";
    constexpr std::string_view meanings = "\"\\/\b\f\n\r\t";
    if (text.size() > 1 && text[1] == 'u') {
        return unicodeEscape(text);
    }
    const std::size_t letter = text.size() > 1 ? letters.find(text[1]) : std::string_view::npos;
    return letter == std::string_view::npos ? Escape{1, "\\"} : Escape{2, std::string(1, meanings[letter])};
}

/** How many bytes of valid UTF-8 begin here for one character; 0 when they are none. */
std::size_t characterLength(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    const std::size_t length = lead < 0x80 ? 1 : lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (length == 0 || lead > 0xF4 || length > text.size()) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0U) != 0x80U) {
            return 0;
        }
    }
    const bool isWrong = (lead == 0xE0 && byte(1) < 0xA0) || (lead == 0xED && byte(1) > 0x9F) ||
                         (lead == 0xF0 && byte(1) < 0x90) || (lead == 0xF4 && byte(1) > 0x8F);
    return isWrong ? 0 : length;
}

/** Reads JSON from the front; every function returns false, or nothing, at the first thing that is none. */
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

    /** The inside of a string, escapes and all. */
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

    /** A number, true, false or null, by its looks. */
    std::string_view takeWord() {
        skipBlanks();
        const std::size_t length = std::min(m_text.find_first_of(",]} \t\r\n\":[{"), m_text.size());
        const std::string_view word = m_text.substr(0, length);
        m_text.remove_prefix(length);
        return word;
    }

    /** Skips a value of any depth without recursion. */
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

std::string escaped(std::string_view text) {
    constexpr unsigned char firstPrintable = 0x20;
    constexpr unsigned char rubout = 0x7F;
    std::string result;
    while (!text.empty()) {
        const std::size_t length = characterLength(text);
        const auto character = static_cast<unsigned char>(text.front());
        if (length == 0) {
            result += Replacement;
        } else if (character == '"' || character == '\\') {
            result.append("\\").append(text.substr(0, 1));
        } else if (character == '\n') {
            result += "\\n";
        } else if (character < firstPrintable || character == rubout) {
            std::array<char, 8> code{};
            (void)std::snprintf(code.data(), code.size(), "\\u%04x", character);
            result += code.data();
        } else {
            result += text.substr(0, length);
        }
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return result;
}

std::string quoted(std::string_view text) {
    return '"' + escaped(text) + '"';
}

std::string printable(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const std::size_t length = characterLength(text);
        const auto character = static_cast<unsigned char>(text.front());
        const bool isHighControl =
            length == 2 && character == 0xC2 && static_cast<unsigned char>(text[1]) < 0xA0;
        if (character == '\n' || character == '\r' || character == '\t') {
            result += ' ';
        } else if (length == 0 || character < ' ' || character == 0x7F || isHighControl) {
            result += Replacement;
        } else {
            result += text.substr(0, length);
        }
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return result;
}

bool isObject(std::string_view json) {
    Cursor cursor(json);
    if (!cursor.take('{')) {
        return false;
    }
    bool hasMore = !cursor.take('}');
    const bool isEmpty = !hasMore;
    while (hasMore) {
        if (!cursor.takeString() || !cursor.take(':') || !cursor.skipValue()) {
            return false;
        }
        hasMore = cursor.take(',');
    }
    return (isEmpty || cursor.take('}')) && cursor.isAtEnd();
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
