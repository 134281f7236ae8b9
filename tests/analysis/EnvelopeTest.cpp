#include "analysis/MessageEnvelope.h"

#include "analysis/ResultStores.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QDateTime>
#include <QLocale>
#include <QString>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

namespace {

using namespace pdalink;

using testing::AllOf;
using testing::Ge;
using testing::Le;

/// A message whose sequence number is the given one.
MessageEnvelope envelopeWithNumber(int number) {
    m_SeqNo = static_cast<int>(static_cast<unsigned int>(number) - 1U);
    return MessageEnvelope("8001");
}

std::string now() {
    return QDateTime::currentDateTime().toString("yyyyMMddhhmmss").toStdString();
}

/// What stands behind the 50 characters of the header and the 37 of the time stamp.
std::string behindTheTime(const MessageEnvelope& envelope) {
    return envelope.message().mid(87).toStdString();
}

TEST(Envelope, HasItsFixedFieldsAtTheirPlaces) {
    const std::string text = MessageEnvelope("8019").message().toStdString();
    EXPECT_EQ(text.substr(6, 4), "8019");
    EXPECT_EQ(text.substr(10, 6), "QEV   ");
    EXPECT_EQ(text.substr(16, 24), "000000000000000000000000");
    EXPECT_EQ(text.substr(40, 8), "        ");
    EXPECT_EQ(text.substr(48, 2), "05");
    EXPECT_EQ(text.substr(50, 11), "<Ex_TrTime>");
}

TEST(Envelope, CarriesTheTimeOfItsBeginning) {
    const std::string before = now();
    const MessageEnvelope envelope("8001");
    const std::string after = now();
    const std::string text = envelope.message().toStdString();
    EXPECT_THAT(text.substr(61, 14), AllOf(Ge(before), Le(after)));
    EXPECT_EQ(text.substr(75, 12), "</Ex_TrTime>");
}

TEST(Envelope, WithoutBodyHas112Characters) {
    const MessageEnvelope envelope = envelopeWithNumber(1);
    const QString text = envelope.message();
    EXPECT_EQ(text.size(), 112);
    EXPECT_EQ(text.left(6), "000112");
    EXPECT_EQ(behindTheTime(envelope), "<Ex_SeqNo>0001</Ex_SeqNo>");
}

TEST(Envelope, HasAsManyBytesAsItsLengthSaysInEveryLocale) {
    setenv("LC_ALL", "ar_EG.UTF-8", 1);
    // Otherwise Qt would set its debug output up at the very end, for the channel's last line, when its other
    // parts are gone.
    qDebug("in another locale");
    QLocale::setDefault(QLocale("ar_EG"));
    EXPECT_EQ(envelopeWithNumber(1).message().toUtf8().size(), 112);
}

TEST(Envelope, TakesTheNextNumberAtItsBeginning) {
    m_SeqNo = 0;
    MessageEnvelope first("8001");
    EXPECT_EQ(m_SeqNo, 1);
    const MessageEnvelope second("8001");
    EXPECT_EQ(m_SeqNo, 2);
    first.add("Tag", "value");
    EXPECT_EQ(first.message().mid(87, 25), "<Ex_SeqNo>0001</Ex_SeqNo>");
    EXPECT_EQ(second.message().mid(87, 25), "<Ex_SeqNo>0002</Ex_SeqNo>");
    EXPECT_EQ(m_SeqNo, 2);
}

struct NumberText {
    int number;
    const char* text;
};

class EnvelopeNumber : public testing::TestWithParam<NumberText> {};

TEST_P(EnvelopeNumber, HasAtLeastFourDigitsAndIsNeverCut) {
    const MessageEnvelope envelope = envelopeWithNumber(GetParam().number);
    const std::string text = GetParam().text;
    EXPECT_EQ(behindTheTime(envelope), "<Ex_SeqNo>" + text + "</Ex_SeqNo>");
    EXPECT_EQ(envelope.message().left(6).toInt(), static_cast<int>(108 + text.size()));
    EXPECT_EQ(envelope.message().size(), static_cast<int>(108 + text.size()));
}

INSTANTIATE_TEST_SUITE_P(Numbers, EnvelopeNumber,
                         testing::Values(NumberText{0, "0000"}, NumberText{7, "0007"},
                                         NumberText{999, "0999"}, NumberText{1000, "1000"},
                                         NumberText{9999, "9999"}, NumberText{10000, "10000"},
                                         NumberText{123456, "123456"},
                                         NumberText{std::numeric_limits<int>::max(), "2147483647"},
                                         NumberText{-1, "-001"}, NumberText{-12345, "-12345"}));

TEST(Envelope, CountsOnFromTheLargestNumberToTheSmallest) {
    m_SeqNo = std::numeric_limits<int>::max();
    EXPECT_EQ(behindTheTime(MessageEnvelope("8001")), "<Ex_SeqNo>-2147483648</Ex_SeqNo>");
    EXPECT_EQ(m_SeqNo, std::numeric_limits<int>::min());
    EXPECT_EQ(behindTheTime(MessageEnvelope("8001")), "<Ex_SeqNo>-2147483647</Ex_SeqNo>");
}

TEST(Envelope, AppendsBodyTagsInTheirOrder) {
    MessageEnvelope envelope = envelopeWithNumber(1);
    envelope.add("Ex_B", "2");
    envelope.add("Ex_A", "1");
    envelope.add("Ex_B", "3");
    EXPECT_EQ(behindTheTime(envelope), "<Ex_SeqNo>0001</Ex_SeqNo><Ex_B>2</Ex_B><Ex_A>1</Ex_A><Ex_B>3</Ex_B>");
    EXPECT_EQ(envelope.message().left(6), "000154");
    EXPECT_EQ(envelope.message().size(), 154);
}

TEST(Envelope, AppendsAnEmptyValueAsAnEmptyPair) {
    MessageEnvelope envelope = envelopeWithNumber(1);
    envelope.add("Ex_A", "");
    envelope.add("Ex_B", QString());
    EXPECT_EQ(behindTheTime(envelope), "<Ex_SeqNo>0001</Ex_SeqNo><Ex_A></Ex_A><Ex_B></Ex_B>");
}

TEST(Envelope, EscapesNothing) {
    MessageEnvelope envelope = envelopeWithNumber(1);
    envelope.add("Ex_A", R"(<b>&amp;"'%s%1</Ex_A>)");
    EXPECT_EQ(behindTheTime(envelope), R"(<Ex_SeqNo>0001</Ex_SeqNo><Ex_A><b>&amp;"'%s%1</Ex_A></Ex_A>)");
}

TEST(Envelope, CountsCharactersNotBytes) {
    MessageEnvelope envelope = envelopeWithNumber(1);
    envelope.add("Ex_A", QString::fromUtf8("终端\xF0\x9F\x93\xA0")); // the last one is two of Qt's characters
    EXPECT_EQ(envelope.message().left(6), "000129");
    EXPECT_EQ(envelope.message().size(), 129);
}

TEST(Envelope, WidensItsLengthFieldWhenNeeded) {
    MessageEnvelope longest = envelopeWithNumber(1);
    longest.add("A", QString(999999 - 112 - 7, 'x'));
    EXPECT_EQ(longest.message().left(10), "9999998001");
    MessageEnvelope longer = envelopeWithNumber(1);
    longer.add("A", QString(999999 - 112 - 7 + 1, 'x'));
    EXPECT_EQ(longer.message().left(11), "10000008001");
}

TEST(Envelope, HasRoomForABodyAsLongAsItsLengthFieldCounts) {
    for (const NumberText& number :
         {NumberText{1, "0001"}, NumberText{9999, "9999"}, NumberText{10000, "10000"},
          NumberText{std::numeric_limits<int>::min(), "-2147483648"}}) {
        m_SeqNo = static_cast<int>(static_cast<unsigned int>(number.number) - 1U);
        const int before = m_SeqNo;
        EXPECT_EQ(MessageEnvelope::longestBody(), 999999 - 108 - static_cast<int>(std::strlen(number.text)));
        EXPECT_EQ(m_SeqNo, before);
    }
}

TEST(EnvelopeType, IsReadFromTheSixthCharacterOn) {
    EXPECT_EQ(MessageEnvelope::typeOf("0001128001QEV   "), "8001");
    EXPECT_EQ(MessageEnvelope::typeOf("xxxxxx9006"), "9006");
}

TEST(EnvelopeType, OfAShortMessageIsShort) {
    EXPECT_EQ(MessageEnvelope::typeOf(""), "");
    EXPECT_EQ(MessageEnvelope::typeOf("000010"), "");
    EXPECT_EQ(MessageEnvelope::typeOf("0000108"), "8");
    EXPECT_EQ(MessageEnvelope::typeOf("000010800"), "800");
}

} // namespace
