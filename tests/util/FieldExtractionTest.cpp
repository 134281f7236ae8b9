#include "util/Util.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <optional>
#include <random>
#include <string>

namespace {

/// What GetXMLValue makes of a text: its result, and what it leaves in a value that was not empty before.
struct Extraction {
    bool found;
    QString value;
};

Extraction extract(std::string text, std::string tag, std::optional<int> length = {}) {
    QString value = QStringLiteral("left over");
    const int bound = length.value_or(static_cast<int>(text.size()));
    const bool found = CUtil::GetXMLValue(value, text.data(), bound, tag.data());
    return {found, value};
}

void expectFound(const Extraction& extraction, const QString& value) {
    EXPECT_TRUE(extraction.found);
    EXPECT_EQ(extraction.value.toStdString(), value.toStdString());
}

void expectMissing(const Extraction& extraction) {
    EXPECT_FALSE(extraction.found);
    EXPECT_TRUE(extraction.value.isEmpty()) << extraction.value.toStdString();
}

TEST(FieldExtraction, TakesTheTextBetweenTheTags) {
    expectFound(extract("000099<Ex_A>1</Ex_A><Ex_RetCode>000000</Ex_RetCode>", "Ex_RetCode"), "000000");
}

TEST(FieldExtraction, TakesTheFirstOfTwoFields) {
    expectFound(extract("<a>1</a><a>2</a>", "a"), "1");
}

TEST(FieldExtraction, PairsTheFirstOpeningWithTheFirstClosingTag) {
    expectFound(extract("<a>1<a>2</a>3</a>", "a"), "1<a>2");
}

TEST(FieldExtraction, FailsWithoutOpeningTag) {
    expectMissing(extract("1</a>", "a"));
}

TEST(FieldExtraction, FailsWithoutClosingTag) {
    expectMissing(extract("<a>1", "a"));
    expectMissing(extract("<a>1<a>", "a"));
}

TEST(FieldExtraction, FailsOnEmptyText) {
    expectMissing(extract("", "a"));
}

TEST(FieldExtraction, FailsWhenAClosingTagComesFirstEvenIfAPairFollows) {
    expectMissing(extract("</a><a>1</a>", "a"));
}

TEST(FieldExtraction, TellsTagsApartThatBeginAlike) {
    const std::string text = "<Ex_Rnd1>no</Ex_Rnd1><Ex_Rnd>yes</Ex_Rnd>";
    expectFound(extract(text, "Ex_Rnd"), "yes");
    expectFound(extract(text, "Ex_Rnd1"), "no");
    expectMissing(extract(text, "Ex_R"));
}

TEST(FieldExtraction, TellsTagsApartThatEndAlike) {
    const std::string text = "<Ex_AName>no</Ex_AName><Name>yes</Name>";
    expectFound(extract(text, "Name"), "yes");
    expectFound(extract(text, "Ex_AName"), "no");
    expectMissing(extract("<Ex_AName>no</Ex_AName>", "Name"));
}

TEST(FieldExtraction, DistinguishesLetterCase) {
    expectMissing(extract("<ex_eimi>1</ex_eimi>", "Ex_EIMI"));
}

TEST(FieldExtraction, DoesNotKnowAttributesOrBlanksInTags) {
    expectMissing(extract("<a b=\"1\">x</a>", "a"));
    expectMissing(extract("<a >x</a >", "a"));
    expectMissing(extract("<a/>", "a"));
}

TEST(FieldExtraction, LeavesEntitiesAsTheyAre) {
    expectFound(extract("<a>&lt;&amp;&#65;</a>", "a"), "&lt;&amp;&#65;");
}

TEST(FieldExtraction, KeepsOtherFieldsAndBlanksInsideTheValue) {
    expectFound(extract("<a> <b>1</b>\r\n\t</a>", "a"), " <b>1</b>\r\n\t");
}

TEST(FieldExtraction, FindsAnEmptyValue) {
    expectFound(extract("<a></a>", "a"), "");
}

TEST(FieldExtraction, BoundsOnlyTheStartOfTheClosingTag) {
    const std::string text = "<a>12</a>"; // the closing tag starts at byte 5
    expectFound(extract(text, "a", 6), "12");
    expectMissing(extract(text, "a", 5));
    expectMissing(extract(text, "a", 4));
    expectFound(extract(text, "a", INT_MAX), "12");
}

TEST(FieldExtraction, CountsTheBoundInBytes) {
    const std::string text = "<a>\xE5\x8C\x85</a>"; // one character of three bytes
    expectFound(extract(text, "a", 7), QString::fromUtf8("包"));
    expectMissing(extract(text, "a", 6));
}

TEST(FieldExtraction, BoundsAnEmptyValueToo) {
    expectFound(extract("<a></a>", "a", 4), "");
    expectMissing(extract("<a></a>", "a", 3));
}

TEST(FieldExtraction, FindsNothingWithinNoLength) {
    expectMissing(extract("<a>1</a>", "a", 0));
    expectMissing(extract("<a>1</a>", "a", -1));
    expectMissing(extract("<a>1</a>", "a", INT_MIN));
}

TEST(FieldExtraction, ALaterClosingTagDoesNotReplaceOneBeyondTheBound) {
    expectMissing(extract("<a>1</a></a>", "a", 4));
}

TEST(FieldExtraction, ReadsTheTextOnlyUpToItsEnd) {
    char text[] = "<a>1\0</a>";
    char tag[] = "a";
    QString value;
    EXPECT_FALSE(CUtil::GetXMLValue(value, text, static_cast<int>(sizeof text), tag));
}

TEST(FieldExtraction, ReadsTheValueAsUtf8) {
    expectFound(extract("<a>张三 €</a>", "a"), QString::fromUtf8("张三 €"));
}

TEST(FieldExtraction, ReplacesInvalidUtf8AndKeepsTheRest) {
    const Extraction extraction = extract("<a>x\xFFy</a>", "a");
    EXPECT_TRUE(extraction.found);
    EXPECT_EQ(extraction.value, QString(QStringLiteral("x") + QChar(QChar::ReplacementCharacter) + "y"));
}

TEST(FieldExtraction, ReplacesASequenceThatTheClosingTagCuts) {
    const Extraction extraction = extract("<a>x\xE5\x8C</a>", "a");
    EXPECT_TRUE(extraction.found);
    ASSERT_GE(extraction.value.size(), 2);
    EXPECT_EQ(extraction.value.at(0), QChar('x'));
    for (const QChar& cut : extraction.value.mid(1)) {
        EXPECT_EQ(cut, QChar(QChar::ReplacementCharacter));
    }
}

TEST(FieldExtraction, DoesNotTakeTheValueForAFormat) {
    expectFound(extract("<a>%s%n%1</a>", "a"), "%s%n%1");
}

TEST(FieldExtraction, DoesNotTakeTheTagForAFormat) {
    expectFound(extract("<%s%n>1</%s%n>", "%s%n"), "1");
}

TEST(FieldExtraction, AcceptsTagsMadeOfMarkup) {
    expectFound(extract("<a>b>1</a>b>", "a>b"), "1");
    expectFound(extract("<>1</>", ""), "1");
    expectFound(extract("</a>1<//a>", "/a"), "1");
    expectFound(extract("<<a>1</<a>", "<a"), "1");
}

TEST(FieldExtraction, FindsAFieldBehindTwentyKilobytes) {
    const std::string filler(20480, 'x');
    expectFound(extract("<b>" + filler + "</b><a>1</a>", "a"), "1");
}

TEST(FieldExtraction, ReturnsAValueOfTwentyKilobytesWhole) {
    const std::string value(20480, 'x');
    expectFound(extract("<a>" + value + "</a>", "a"), QString::fromStdString(value));
}

TEST(FieldExtraction, AcceptsATagOfTwentyKilobytes) {
    const std::string tag(20480, 't');
    expectFound(extract("<" + tag + ">1</" + tag + ">", tag), "1");
}

TEST(FieldExtraction, CountsNullTextsAsNotFound) {
    char text[] = "<a>1</a><(null)>2</(null)>";
    char tag[] = "a";
    QString value = QStringLiteral("left over");
    EXPECT_FALSE(CUtil::GetXMLValue(value, nullptr, 8, tag));
    EXPECT_TRUE(value.isEmpty());
    value = QStringLiteral("left over");
    EXPECT_FALSE(CUtil::GetXMLValue(value, text, static_cast<int>(sizeof text), nullptr));
    EXPECT_TRUE(value.isEmpty());
}

TEST(FieldExtraction, LeavesTextAndTagUnchanged) {
    char text[] = "<a>1</a>";
    char tag[] = "a";
    QString value;
    EXPECT_TRUE(CUtil::GetXMLValue(value, text, 8, tag));
    EXPECT_STREQ(text, "<a>1</a>");
    EXPECT_STREQ(tag, "a");
}

/// The rules of the extraction, one after the other, on plain C strings.
Extraction extractByTheRules(const std::string& text, const std::string& tag, int length) {
    const std::string opening = "<" + tag + ">";
    const std::string closing = "</" + tag + ">";
    const char* open = std::strstr(text.c_str(), opening.c_str());
    const char* close = std::strstr(text.c_str(), closing.c_str());
    if (open == nullptr || close == nullptr || close - text.c_str() >= length) {
        return {false, {}};
    }
    const char* begin = open + opening.size();
    if (close < begin) {
        return {false, {}};
    }
    return {true, QString::fromUtf8(begin, static_cast<int>(close - begin))};
}

std::string randomText(std::mt19937& random, std::size_t longest) {
    constexpr char alphabet[] = "<>/aab";
    std::string text(random() % (longest + 1), '\0');
    for (char& letter : text) {
        letter = alphabet[random() % (sizeof alphabet - 1)];
    }
    return text;
}

/// Random markup that is dense enough in the tag to be found in every constellation.
std::string randomMarkup(std::mt19937& random, const std::string& tag) {
    std::string text;
    for (auto pieces = random() % 6; pieces > 0; --pieces) {
        switch (random() % 3) {
        case 0:
            text += "<" + tag + ">";
            break;
        case 1:
            text += "</" + tag + ">";
            break;
        default:
            text += randomText(random, 4);
        }
    }
    return text;
}

TEST(FieldExtraction, FollowsTheRulesOnAnyMarkup) {
    std::mt19937 random(20260102); // NOLINT(cert-msc51-cpp,cert-msc32-c): the same texts in every run
    int found = 0;
    for (int round = 0; round < 200000; ++round) {
        const std::string tag = randomText(random, 3);
        const std::string text = randomMarkup(random, tag);
        const int length = static_cast<int>(random() % (text.size() + 2));
        const Extraction expected = extractByTheRules(text, tag, length);
        const Extraction actual = extract(text, tag, length);
        ASSERT_EQ(actual.found, expected.found) << text << " tag " << tag << " length " << length;
        ASSERT_EQ(actual.value, expected.value) << text << " tag " << tag << " length " << length;
        found += expected.found ? 1 : 0;
    }
    EXPECT_GT(found, 1000); // the texts are not merely misses
}

} // namespace
