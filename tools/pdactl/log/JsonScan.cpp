#include "log/JsonScan.h"

#include <QString>

#include <algorithm>
#include <utility>

namespace pdactl::log {

namespace {

constexpr int kMaxDepth = 100; // what is nested more deeply counts as damaged

/// Reads JSON from the front; every function returns false at the first thing that is none.
class Reader {
public:
    explicit Reader(std::string_view text) : m_text(text) {}

    Json read() {
        m_json.isObject = next() == '{' && takeContainer(1) && next() == '\0' && m_position == m_text.size();
        return std::move(m_json);
    }

private:
    /// The first character that is not blank; '\0' at the end.
    char next() {
        m_position = std::min(m_text.find_first_not_of(" \t\r\n", m_position), m_text.size());
        return m_position < m_text.size() ? m_text[m_position] : '\0';
    }

    bool take(char expected) {
        const bool isExpected = next() == expected;
        m_position += isExpected ? 1 : 0;
        return isExpected;
    }

    /// What is inside the quotes, escapes and all.
    bool takeString(std::string_view& inside) {
        const std::size_t begin = m_position + 1;
        for (std::size_t i = take('"') ? begin : m_text.size(); i < m_text.size(); ++i) {
            if (m_text[i] == '\\') {
                ++i;
            } else if (m_text[i] == '"') {
                inside = m_text.substr(begin, i - begin);
                m_position = i + 1;
                return true;
            }
        }
        return false;
    }

    /// A number, true, false or null, by its looks, or a mask.
    bool takeWord(std::string_view& word) {
        constexpr std::string_view kCharacters =
            "0123456789+-.*abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
        const std::size_t end = std::min(m_text.find_first_not_of(kCharacters, m_position), m_text.size());
        word = m_text.substr(m_position, end - m_position);
        m_position = end;
        return !word.empty();
    }

    bool takeValue(const std::string& name, int depth) {
        using Type = JsonValue::Type;
        const char first = next();
        if (first == '{' || first == '[') {
            const std::size_t index = m_json.values.size();
            m_json.values.push_back({Type::Container, name, m_position, m_text.size(), depth});
            const bool isRead = takeContainer(depth + 1);
            m_json.values[index].end = m_position;
            return isRead;
        }
        std::string_view text;
        const bool isString = first == '"';
        const bool isRead = isString ? takeString(text) : takeWord(text);
        if (isRead) {
            const auto begin = static_cast<std::size_t>(text.data() - m_text.data());
            m_json.values.push_back(
                {isString ? Type::String : Type::Word, name, begin, begin + text.size(), depth});
        }
        return isRead;
    }

    bool takeContainer(int depth) {
        const bool isObject = m_text[m_position++] == '{';
        const char end = isObject ? '}' : ']';
        if (depth > kMaxDepth || take(end)) {
            return depth <= kMaxDepth;
        }
        do {
            std::string_view name;
            if (isObject && (next() != '"' || !takeString(name) || !take(':'))) {
                return false;
            }
            if (!takeValue(unescaped(name), depth)) {
                return false;
            }
        } while (take(','));
        return take(end);
    }

    std::string_view m_text;
    std::size_t m_position = 0;
    Json m_json;
};

} // namespace

std::string unescaped(std::string_view text) {
    constexpr int kEscape = 6; // "\u0041"
    if (text.find('\\') == std::string_view::npos) {
        return std::string(text);
    }
    const QString letters = QStringLiteral("\"\\/bfnrt");
    const QString meanings = QStringLiteral("\"\\/\b\f\n\r\t");
    const QString source = QString::fromUtf8(text.data(), static_cast<int>(text.size()));
    QString result;
    for (int i = 0; i < source.size(); ++i) {
        const QChar letter = source[i] == '\\' && i + 1 < source.size() ? source[i + 1] : QChar();
        const int known = letter.isNull() ? -1 : letters.indexOf(letter);
        bool isUnit = false;
        const ushort unit = letter == 'u' ? source.midRef(i + 2, 4).toUShort(&isUnit, 16) : ushort{0};
        if (isUnit) {
            result += QChar(unit); // two of them make one character
            i += kEscape - 1;
        } else if (known >= 0) {
            result += meanings[known];
            ++i;
        } else {
            result += source[i];
        }
    }
    return result.toStdString();
}

Json readJson(std::string_view text) {
    return Reader(text).read();
}

std::optional<std::vector<std::string>> rootNames(std::string_view json) {
    const Json read = readJson(json);
    std::vector<std::string> names;
    for (const JsonValue& value : read.values) {
        if (value.depth == 1) {
            names.push_back(value.name);
        }
    }
    return read.isObject ? std::optional(names) : std::nullopt;
}

std::optional<std::string> rootMember(std::string_view json, std::string_view name) {
    const Json read = readJson(json);
    const auto found = std::find_if(read.values.begin(), read.values.end(), [&](const JsonValue& value) {
        return value.depth == 1 && value.name == name;
    });
    if (found == read.values.end() || found->type == JsonValue::Type::Container) {
        return {};
    }
    return unescaped(json.substr(found->begin, found->end - found->begin));
}

} // namespace pdactl::log
