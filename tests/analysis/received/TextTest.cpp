#include "ReceivedFixture.h"
#include "tests/analysis/files/RepeatedText.h"

namespace {

/// Texts as no terminal should send them: each is stored as far as it goes, and acknowledged.
class ReceivedText : public ReceivedBy {
protected:
    static std::string repeated(const std::string& piece, std::size_t count) {
        std::string text;
        for (std::size_t i = 0; i < count; ++i) {
            text += piece;
        }
        return text;
    }

    static bool isAcknowledged() { return handler().acknowledgementType != nullptr; }
    void expectHandled(const std::string& text, const Fields& kept) {
        fillStore(handler(), "");
        EXPECT_EQ(hand(handler(), text), 0);
        EXPECT_EQ(stored(handler()), storeOf(handler(), kept));
        EXPECT_EQ(m_PerformTasksYN, 0);
        EXPECT_EQ(terminal().received().size(), ++m_handled * (isAcknowledged() ? 1 : 0));
    }

private:
    std::size_t m_handled = 0;
};

TEST_P(ReceivedText, IsStoredAsFarAsItGoes) {
    for (const std::string& text :
         {std::string(), std::string("garbage"), std::string("<Ex_PdaSn"),
          std::string("</Ex_PdaSn><Ex_PdaSn>"), std::string("%s%n%s%n"), std::string(49, '0')}) {
        SCOPED_TRACE(text);
        expectHandled(text, {});
    }
    const std::string replacement = "\xEF\xBF\xBD";
    Fields fields = fieldsOf(handler());
    Fields kept = fields;
    fields.back().second = "a\xFFz";
    kept.back().second = "a" + replacement + "z";
    expectHandled(messageOf(handler(), fields), kept);
    fields.back().second = "\xC4\xA7\xC4"; // Latin-1: the first two happen to be a character
    kept.back().second = "\xC4\xA7" + replacement;
    expectHandled(messageOf(handler(), fields), kept);
}

TEST_P(ReceivedText, OfAMebibyte) {
    const std::string huge(std::size_t{1} << 20U, 'x');
    expectHandled(huge, {});
    Fields fields = fieldsOf(handler());
    fields.back().second = huge;
    expectHandled(messageOf(handler(), fields), fields);
    fields.front().second = huge;
    expectHandled(messageOf(handler(), fields), fields);
}

TEST_P(ReceivedText, OfManyBytesLosesTagsThatCloseAfterItsCountOfCharacters) {
    // Each "é" makes the bytes one more than the characters; the last closing tag has to begin within those.
    const std::string last = handler().tags.back();
    const std::size_t closing = last.size() + 3;
    Fields fields = fieldsOf(handler());
    fields.insert(fields.begin(), {"Ex_Other", ""});
    Fields shortened = fieldsOf(handler());
    shortened.pop_back();
    for (const std::size_t rest : {std::size_t{0}, std::size_t{10}}) {
        for (std::size_t count = 0; count < closing + rest; ++count) {
            fields.front().second = repeated("é", count);
            expectHandled(messageOf(handler(), fields) + std::string(rest, 'x'), fieldsOf(handler()));
        }
        fields.front().second = repeated("é", closing + rest);
        expectHandled(messageOf(handler(), fields) + std::string(rest, 'x'), shortened);
    }
    fields.front().second = repeated("终", 2000);
    expectHandled(messageOf(handler(), fields), {});
}

INSTANTIATE_TEST_SUITE_P(Of, ReceivedText, testing::ValuesIn(allHandlers()), NameOfHandler());

using ReceivedHugeText = ReceivedBy;

TEST_P(ReceivedHugeText, OfMoreBytesThanACountHoldsFails) {
    if (PDALINK_IS_SANITIZED) {
        GTEST_SKIP() << "takes gigabytes with a sanitizer";
    }
    const RepeatedText text('x', (std::size_t{1} << 32U) + 100); // counted by an int it would have a hundred
    fillStore(handler(), "kept");
    m_PerformTasksYN = 1;
    EXPECT_EQ((analyser().*handler().receive)(text.data()), 1);
    EXPECT_EQ(stored(handler()), std::vector<std::string>(handler().storeSize, "kept"));
    EXPECT_EQ(m_PerformTasksYN, 0);
    EXPECT_EQ(m_SeqNo, 0);
    EXPECT_TRUE(terminal().received().empty());
}

INSTANTIATE_TEST_SUITE_P(Of, ReceivedHugeText,
                         testing::Values(handlerOf("ReceiveScanResult"), handlerOf("ReceiveLoginData")),
                         NameOfHandler());

} // namespace
