#include "analysis/MessageEnvelope.h"

#include "analysis/ResultStores.h"
#include "util/Util.h"

namespace {

constexpr int kLengthDigits = 6;
constexpr int kTypeDigits = 4;

// Behind length and type every message carries the factory code, 24 zeros, 8 blanks and "05".
constexpr char kConstantHeader[] = "QEV   "
                                   "000000000000000000000000"
                                   "        "
                                   "05";
static_assert(kLengthDigits + kTypeDigits + sizeof kConstantHeader - 1 == 50);

/// Counts on from INT_MAX to INT_MIN.
int nextSequenceNumber() {
    m_SeqNo = static_cast<int>(static_cast<unsigned int>(m_SeqNo) + 1U);
    return m_SeqNo;
}

} // namespace

MessageEnvelope::MessageEnvelope(const char* type) {
    m_text = QLatin1String(type) + QLatin1String(kConstantHeader);
    add("Ex_TrTime", CUtil::getCurrentTimes());
    add("Ex_SeqNo", QString::asprintf("%04d", nextSequenceNumber()));
}

void MessageEnvelope::add(const char* tag, const QString& value) {
    const QLatin1String name(tag);
    m_text +=
        QLatin1Char('<') + name + QLatin1Char('>') + value + QLatin1String("</") + name + QLatin1Char('>');
}

QString MessageEnvelope::message() const {
    return QString::asprintf("%0*d", kLengthDigits, m_text.size() + kLengthDigits) + m_text;
}

QString MessageEnvelope::typeOf(const QString& message) {
    return message.mid(kLengthDigits, kTypeDigits);
}
