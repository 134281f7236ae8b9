#include "listen/MessageSplitter.h"

#include <algorithm>

namespace pdactl {

namespace {

constexpr int kDigitsOfLength = 6;
constexpr int kDigitsOfHeader = 10; // length and type
constexpr int kHeaderLength = 50;
constexpr std::chrono::seconds kPatience{5};

bool isLengthDigit(QChar character) {
    return character >= QLatin1Char('0') && character <= QLatin1Char('9');
}

/// Whether a message can begin here, as far as the text tells.
bool canBegin(const QString& text, int begin) {
    const int known = std::min(text.size() - begin, kDigitsOfHeader);
    if (!std::all_of(text.begin() + begin, text.begin() + begin + known, isLengthDigit)) {
        return false;
    }
    if (known < kDigitsOfLength) {
        return true;
    }
    const int length = text.midRef(begin, kDigitsOfLength).toInt();
    if (length <= kHeaderLength || begin + kHeaderLength >= text.size()) {
        return length >= kHeaderLength;
    }
    return text[begin + kHeaderLength] == QLatin1Char('<');
}

int nextBegin(const QString& text, int position) {
    while (position < text.size() && !canBegin(text, position)) {
        ++position;
    }
    return position;
}

} // namespace

void MessageSplitter::add(const QString& text, Clock::time_point now) {
    if (!text.isEmpty()) {
        m_rest += text;
        m_lastAdded = now;
        cut(0);
    }
}

void MessageSplitter::giveUpOld(Clock::time_point now) {
    if (isUnfinished() && now - m_lastAdded >= kPatience) {
        warnings.push_back("gave up a message of which only " + std::to_string(m_rest.size()) +
                           " characters came");
        // Its length may have been wrong: others may follow its beginning.
        cut(1);
    }
}

/// Takes the messages that begin at `position` or later. What they leave is moved to the front only once.
void MessageSplitter::cut(int position) {
    while (position < m_rest.size()) {
        const int begin = nextBegin(m_rest, position);
        if (begin > position) {
            warnings.push_back("skipped " + std::to_string(begin - position) +
                               " characters that do not begin a message");
            position = begin;
        }
        const int length = m_rest.midRef(position, kDigitsOfLength).toInt();
        if (m_rest.size() - position < std::max(length, kDigitsOfLength)) {
            break;
        }
        messages.push_back(m_rest.mid(position, length));
        position += length;
    }
    m_rest.remove(0, position);
}

} // namespace pdactl
