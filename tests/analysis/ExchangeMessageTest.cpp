#include "ExchangeFixture.h"

#include <QDateTime>
#include <QTextCodec>
#include <regex>

namespace {

using testing::AllOf;
using testing::Ge;
using testing::IsEmpty;
using testing::Le;
using testing::SizeIs;

const std::string kHeaderRest = "QEV   000000000000000000000000        05";

std::string now() {
    return QDateTime::currentDateTime().toString("yyyyMMddhhmmss").toStdString();
}

/// The message with the digits of its time stamp replaced.
std::string withoutTime(const std::string& message) {
    static const std::regex time("<Ex_TrTime>[0-9]{14}</Ex_TrTime>");
    return std::regex_replace(message, time, "<Ex_TrTime>TIME</Ex_TrTime>");
}

/// What goes over the wire.
class ExchangeMessage : public OpenExchangeTest {
protected:
    std::string sequenceOfNewMessage() {
        std::smatch found;
        const std::string message = newMessage();
        return std::regex_search(message, found, std::regex("<Ex_SeqNo>([^<]*)</Ex_SeqNo>")) ? found[1].str()
                                                                                             : std::string();
    }
};

TEST_F(ExchangeMessage, OfGetInfoHasExactly112Characters) {
    const std::string before = now();
    getInfo();
    const std::string after = now();
    const std::string message = newMessage();
    EXPECT_THAT(message, SizeIs(6 + 4 + 6 + 24 + 8 + 2 + 37 + 25));
    EXPECT_EQ(withoutTime(message),
              "0001128001" + kHeaderRest + "<Ex_TrTime>TIME</Ex_TrTime><Ex_SeqNo>0001</Ex_SeqNo>");
    EXPECT_THAT(message.substr(61, 14), AllOf(Ge(before), Le(after)));
}

TEST_F(ExchangeMessage, OfInitCarriesBothInputs) {
    init("12345678", "ACME");
    EXPECT_EQ(withoutTime(newMessage()), "0001708002" + kHeaderRest +
                                             "<Ex_TrTime>TIME</Ex_TrTime><Ex_SeqNo>0001</Ex_SeqNo>"
                                             "<Ex_PdaSn>12345678</Ex_PdaSn><Ex_Factory>ACME</Ex_Factory>");
}

TEST_F(ExchangeMessage, OfInitTakesNullInputsForEmptyOnes) {
    EXPECT_EQ(init(nullptr, nullptr), usualInitialisation());
    EXPECT_EQ(withoutTime(newMessage()), "0001588002" + kHeaderRest +
                                             "<Ex_TrTime>TIME</Ex_TrTime><Ex_SeqNo>0001</Ex_SeqNo>"
                                             "<Ex_PdaSn></Ex_PdaSn><Ex_Factory></Ex_Factory>");
}

TEST_F(ExchangeMessage, IsSentInUtf8WhateverTheLocalEncoding) {
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("ISO-8859-1"));
    init("é", "");
    EXPECT_EQ(withoutTime(newMessage()), "0001598002" + kHeaderRest +
                                             "<Ex_TrTime>TIME</Ex_TrTime><Ex_SeqNo>0001</Ex_SeqNo>"
                                             "<Ex_PdaSn>é</Ex_PdaSn><Ex_Factory></Ex_Factory>");
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
}

TEST_F(ExchangeMessage, CarriesTheNextNumberEachTime) {
    getInfo();
    EXPECT_EQ(sequenceOfNewMessage(), "0001");
    init();
    EXPECT_EQ(sequenceOfNewMessage(), "0002");
    call(R"({"transCode":"600002"})");
    EXPECT_EQ(sequenceOfNewMessage(), "0003");
    EXPECT_EQ(m_SeqNo, 3);
}

TEST_F(ExchangeMessage, ThatCouldNotBeSentHasUsedItsNumber) {
    stopChannel();
    terminal().unplug();
    EXPECT_EQ(getInfo(), kInformationNotSent);
    EXPECT_EQ(m_SeqNo, 1);
}

TEST_F(ExchangeMessage, MayBeAsLongAsTheKernelTakesAtOnce) {
    const std::string number(16384 - 158, '1');
    EXPECT_EQ(init(number.c_str(), ""), usualInitialisation());
    EXPECT_THAT(newMessage(), SizeIs(16384));
    EXPECT_EQ(terminal().state().assignedNumber, number);
}

TEST_F(ExchangeMessage, ThatIsLongerFailsLikeAnyFailedWrite) {
    const std::string number(16384 - 158 + 1, '1');
    EXPECT_EQ(init(number.c_str(), ""), kInitialisationNotSent);
    EXPECT_EQ(m_PerformTasksYN, 1);
    EXPECT_FALSE(g_hidRun);
    EXPECT_THAT(terminal().received(), IsEmpty());
}

TEST_F(ExchangeMessage, OfAnyLengthIsLoggedWhole) {
    const std::string number(200000, '1');
    EXPECT_EQ(init(number.c_str(), ""), kInitialisationNotSent);
    const std::vector<std::string> lines = newLogTexts(4);
    ASSERT_THAT(lines, SizeIs(3));
    EXPECT_EQ(withoutTime(lines[0]), "600001 SendData pre: 2001588002" + kHeaderRest +
                                         "<Ex_TrTime>TIME</Ex_TrTime><Ex_SeqNo>0001</Ex_SeqNo><Ex_PdaSn>" +
                                         number + "</Ex_PdaSn><Ex_Factory></Ex_Factory>");
    EXPECT_EQ(lines[1], "sendLen error. need to reopen device errno:22 info:Invalid argument");
}

} // namespace
