#include "RowFixture.h"

#include <algorithm>

namespace {

using testing::Contains;
using testing::HasSubstr;

/// Inputs that are not like those of every day.
class RowInput : public RowTest {
protected:
    /// Changes each text that is sent as it is.
    template <typename Change>
    static void changeTexts(Arguments& arguments, const Change& change) {
        for (std::size_t i = 0; i < arguments.inputs().size(); ++i) {
            const bool isGbk = std::any_of(row().body.begin(), row().body.end(), [i](const BodyTag& tag) {
                return tag.input == i && tag.content == Content::Gbk;
            });
            auto* const text = std::get_if<std::string>(&arguments.inputs()[i]);
            if (text != nullptr && !isGbk) {
                change(*text, i);
            }
        }
    }

    /// Calls with the inputs, and expects them in the message.
    void expectSent(Arguments& arguments) {
        answerRow(sampleReply(row()));
        EXPECT_EQ(call(arguments), replied(sampleReply(row())));
        const std::string body = bodyOf(row(), arguments.inputs());
        const std::string message = newMaskedMessage();
        const std::string expected = maskedMessage(row().type, "0001", body);
        EXPECT_EQ(message.substr(6), expected.substr(6));
        EXPECT_EQ(message.substr(0, 6), lengthField(body, expected));
    }

private:
    static std::string lengthField(const std::string& body, const std::string& expected) {
        constexpr int envelope = 112; // a message without a body
        return row().isBytes
                   ? QString::asprintf("%06d", envelope + static_cast<int>(body.size())).toStdString()
                   : expected.substr(0, 6);
    }
};

TEST_P(RowInput, EmptyMakesEmptyTags) {
    Arguments arguments(row());
    for (Value& value : arguments.inputs()) {
        value = std::holds_alternative<int>(value) ? Value(0) : Value(std::string());
    }
    expectSent(arguments);
}

TEST_P(RowInput, NullCountsAsEmpty) {
    Arguments arguments(row());
    arguments.withoutInputs();
    for (Value& value : arguments.inputs()) {
        value = std::holds_alternative<int>(value) ? Value(0) : Value(std::string());
    }
    expectSent(arguments);
}

TEST_P(RowInput, IsNeitherEscapedNorFormatted) {
    Arguments arguments(row());
    changeTexts(arguments,
                [](std::string& text, std::size_t i) { text = "%s%n%d <b>&</b> \"\\" + std::to_string(i); });
    expectSent(arguments);
}

TEST_P(RowInput, IsSentInUtf8AndCountedInCharacters) {
    Arguments arguments(row());
    changeTexts(arguments,
                [](std::string& text, std::size_t i) { text = "é终端\xF0\x9F\x93\xA0" + std::to_string(i); });
    expectSent(arguments);
}

TEST_P(RowInput, OfManyBytesIsSentWhole) {
    Arguments arguments(row());
    bool isFirst = true;
    changeTexts(arguments, [&isFirst](std::string& text, std::size_t) {
        text += isFirst ? std::string(14000, 'x') : std::string();
        isFirst = false;
    });
    answerRow(sampleReply(row()));
    EXPECT_EQ(call(arguments), replied(sampleReply(row())));
    EXPECT_THAT(newMessage(), HasSubstr(bodyOf(row(), arguments.inputs())));
}

TEST_P(RowInput, OfMoreBytesThanAWriteTakesFailsWhole) {
    Arguments arguments(row());
    changeTexts(arguments, [](std::string& text, std::size_t i) {
        text += std::string(21000, 'x') + std::to_string(i);
    });
    EXPECT_EQ(call(arguments), notSent());
    EXPECT_TRUE(terminal().received().empty());
    EXPECT_EQ(m_SeqNo, 1);
    const std::string body = bodyOf(row(), arguments.inputs());
    const std::vector<std::string> lines = newLines();
    EXPECT_THAT(lines, Contains(HasSubstr((row().isBytes ? "4 Write XML1 error:" : "4 Write XML error:"))));
    EXPECT_THAT(lines.back(), HasSubstr(body));
}

TEST_P(RowInput, IsNotChangedByTheCall) {
    Arguments arguments(row());
    answerRow(sampleReply(row()));
    call(arguments);
    EXPECT_EQ(arguments.inputs(), Arguments(row()).inputs());
}

INSTANTIATE_TEST_SUITE_P(Of, RowInput, testing::ValuesIn(rowsWithInputs()), NameOfMember());

} // namespace
