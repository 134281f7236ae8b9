#include "util/Util.h"

#include <gtest/gtest.h>

#include <climits>
#include <optional>
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

struct Case {
    const char* text;
    const char* tag;
    const char* value; ///< null when nothing is found
};

const Case kCases[] = {
    {"000099<Ex_A>1</Ex_A><Ex_RetCode>000000</Ex_RetCode>", "Ex_RetCode", "000000"},
    {"<a>1</a><a>2</a>", "a", "1"},
    {"<a>1<a>2</a>3</a>", "a", "1<a>2"}, // the first opening tag with the first closing one
    {"1</a>", "a", nullptr},
    {"<a>1", "a", nullptr},
    {"<a>1<a>", "a", nullptr},
    {"", "a", nullptr},
    {"</a><a>1</a>", "a", nullptr}, // a closing tag comes first
    // Tags that begin alike, that end alike, and that differ in case.
    {"<Ex_Rnd1>no</Ex_Rnd1><Ex_Rnd>yes</Ex_Rnd>", "Ex_Rnd", "yes"},
    {"<Ex_Rnd1>no</Ex_Rnd1><Ex_Rnd>yes</Ex_Rnd>", "Ex_Rnd1", "no"},
    {"<Ex_Rnd1>no</Ex_Rnd1><Ex_Rnd>yes</Ex_Rnd>", "Ex_R", nullptr},
    {"<Ex_AName>no</Ex_AName><Name>yes</Name>", "Name", "yes"},
    {"<Ex_AName>no</Ex_AName><Name>yes</Name>", "Ex_AName", "no"},
    {"<Ex_AName>no</Ex_AName>", "Name", nullptr},
    {"<ex_eimi>1</ex_eimi>", "Ex_EIMI", nullptr},
    // Attributes and blanks are not known.
    {"<a b=\"1\">x</a>", "a", nullptr},
    {"<a >x</a >", "a", nullptr},
    {"<a/>", "a", nullptr},
    // Values are taken as they are.
    {"<a>&lt;&amp;&#65;</a>", "a", "&lt;&amp;&#65;"},
    {"<a> <b>1</b>\r\n\t</a>", "a", " <b>1</b>\r\n\t"},
    {"<a></a>", "a", ""},
    {"<a>张三 €</a>", "a", "张三 €"},
    {"<a>%s%n%1</a>", "a", "%s%n%1"},
    {"<%s%n>1</%s%n>", "%s%n", "1"},
    // Tags that are made of markup.
    {"<a>b>1</a>b>", "a>b", "1"},
    {"<>1</>", "", "1"},
    {"</a>1<//a>", "/a", "1"},
    {"<<a>1</<a>", "<a", "1"},
};

TEST(FieldExtraction, TakesTheTextBetweenTheTags) {
    for (const Case& each : kCases) {
        SCOPED_TRACE(std::string(each.text) + " tag " + each.tag);
        if (each.value != nullptr) {
            expectFound(extract(each.text, each.tag), QString::fromUtf8(each.value));
        } else {
            expectMissing(extract(each.text, each.tag));
        }
    }
}

TEST(FieldExtraction, BoundsTheStartOfTheClosingTagInBytes) {
    const std::string text = "<a>12</a>"; // the closing tag starts at byte 5
    expectFound(extract(text, "a", 6), "12");
    expectFound(extract(text, "a", INT_MAX), "12");
    for (const int length : {5, 4, 0, -1, INT_MIN}) {
        expectMissing(extract(text, "a", length));
    }
    const std::string character = "<a>\xE5\x8C\x85</a>"; // one of three bytes
    expectFound(extract(character, "a", 7), QString::fromUtf8("包"));
    expectMissing(extract(character, "a", 6));
    expectFound(extract("<a></a>", "a", 4), "");
    expectMissing(extract("<a></a>", "a", 3));
    expectMissing(extract("<a>1</a></a>", "a", 4)); // a later closing tag does not replace it
    expectMissing(extract(std::string("<a>1\0</a>", 9), "a"));
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

TEST(FieldExtraction, TakesTextsOfTwentyKilobytes) {
    const std::string x(20480, 'x');
    expectFound(extract("<b>" + x + "</b><a>1</a>", "a"), "1");
    expectFound(extract("<a>" + x + "</a>", "a"), QString::fromStdString(x));
    expectFound(extract("<" + x + ">1</" + x + ">", x), "1");
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

} // namespace
