#include "analysis/MessageEnvelope.h"

#include "analysis/ResultStores.h"
#include "util/MessageLength.h"
#include "util/Util.h"

namespace pdalink {

namespace {

constexpr int kTypeDigits = 4;

// Behind length and type every message carries the factory code, 24 zeros, 8 blanks and "05".
constexpr char kConstantHeader[] = "QEV   "
                                   "000000000000000000000000"
                                   "        "
                                   "05";
static_assert(kLengthDigits + kTypeDigits + sizeof kConstantHeader - 1 == 50);

/// Counts on from INT_MAX to INT_MIN.
int nextSequenceNumber() {
    return static_cast<int>(static_cast<unsigned int>(m_SeqNo) + 1U);
}

/// The message between its length field and the body tags.
QString head(const char* type, int sequenceNumber) {
    return QLatin1String(type) + QLatin1String(kConstantHeader) +
           taggedText("Ex_TrTime", CUtil::getCurrentTimes()) +
           taggedText("Ex_SeqNo", QString::asprintf("%04d", sequenceNumber));
}

} // namespace

QString taggedText(const char* tag, const QString& value) {
    const QLatin1String name(tag);
    return QLatin1Char('<') + name + QLatin1Char('>') + value + QLatin1String("</") + name + QLatin1Char('>');
}

MessageEnvelope::MessageEnvelope(const char* type) {
    m_SeqNo = nextSequenceNumber();
    m_text = head(type, m_SeqNo);
}

void MessageEnvelope::add(const char* tag, const QString& value) {
    m_text += taggedText(tag, value);
}

QString MessageEnvelope::message() const {
    return QString::asprintf("%0*d", kLengthDigits, m_text.size() + kLengthDigits) + m_text;
}

qint64 MessageEnvelope::longestBody() {
    return qint64{kMaxMessageLength} - kLengthDigits - head("0000", nextSequenceNumber()).size();
}

QString MessageEnvelope::typeOf(const QString& message) {
    return message.mid(kLengthDigits, kTypeDigits);
}

} // namespace pdalink
