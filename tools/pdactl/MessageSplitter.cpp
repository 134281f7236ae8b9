#include "MessageSplitter.h"

#include <algorithm>
#include <utility>

namespace pdactl {

namespace {

constexpr int LengthDigits = 6;
constexpr int HeaderDigits = 10; // length and type
constexpr int HeaderLength = 50;
constexpr std::chrono::seconds Patience{5};

bool isLengthDigit(QChar character) {
    return character >= QLatin1Char('0') && character <= QLatin1Char('9');
}

/** Whether a message can begin here, as far as the text tells. */
bool canBegin(const QString& text, int begin) {
    const int known = std::min(text.size() - begin, HeaderDigits);
    if (!std::all_of(text.begin() + begin, text.begin() + begin + known, isLengthDigit)) {
        return false;
    }
    if (known < LengthDigits) {
        return true;
    }
    const int length = text.midRef(begin, LengthDigits).toInt();
    if (length <= HeaderLength || begin + HeaderLength >= text.size()) {
        return length >= HeaderLength;
    }
    return text[begin + HeaderLength] == QLatin1Char('<');
}

} // namespace

void MessageSplitter::add(const QString& text, Clock::time_point now) {
    if (!text.isEmpty()) {
        m_rest += text;
        m_lastAdded = now;
        cut();
    }
}

void MessageSplitter::giveUpOld(Clock::time_point now) {
    if (isUnfinished() && now - m_lastAdded >= Patience) {
        m_warnings.push_back("gave up a message of which only " + std::to_string(m_rest.size()) +
                             " characters came");
        // Its length may have been wrong: others may stand behind its beginning.
        skip(1);
        cut();
    }
}

std::optional<QString> MessageSplitter::next() {
    if (m_messages.empty()) {
        return std::nullopt;
    }
    QString message = std::move(m_messages.front());
    m_messages.pop_front();
    return message;
}

std::vector<std::string> MessageSplitter::takeWarnings() {
    return std::exchange(m_warnings, {});
}

void MessageSplitter::cut() {
    while (isUnfinished()) {
        int begin = 0;
        while (begin < m_rest.size() && !canBegin(m_rest, begin)) {
            ++begin;
        }
        if (begin > 0) {
            m_warnings.push_back("skipped " + std::to_string(begin) + " characters that begin no message");
            skip(begin);
        }
        const int length = m_rest.leftRef(LengthDigits).toInt();
        if (m_rest.size() < LengthDigits || length > m_rest.size()) {
            return;
        }
        m_messages.push_back(m_rest.left(length));
        skip(length);
    }
}

void MessageSplitter::skip(int characters) {
    m_rest.remove(0, characters);
}

} // namespace pdactl
