#include "util/Util.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QLocale>

#include <chrono>
#include <string>
#include <type_traits>
#include <vector>

namespace {

static_assert(std::is_empty_v<CUtil>);

std::vector<std::string> split(const QString& text, const QString& separator) {
    std::vector<QString> parts;
    CUtil::plitStr(text, separator, parts);
    std::vector<std::string> result;
    result.reserve(parts.size());
    for (const QString& part : parts) {
        result.push_back(part.toStdString());
    }
    return result;
}

using Parts = std::vector<std::string>;

TEST(Splitting, TakesEveryPartThatASeparatorFollows) {
    struct Text {
        const char* text;
        const char* separator;
        Parts parts;
    };
    for (const Text& each : {
             Text{"a;b;", ";", {"a", "b"}},
             Text{"a;b", ";", {"a"}}, // the rest is dropped
             Text{";;a;;;b;;", ";", {"a", "b"}},
             Text{";", ";", {}},
             Text{" a ;\r\n;", ";", {" a ", "\r\n"}},
             Text{"", ";", {}},
             Text{"abc", ";", {}},
             Text{"a--b-c--d", "--", {"a", "b-c"}},
             Text{"a---b--", "--", {"a", "-b"}},
             Text{"a;b--", "--", {"a;b"}},
             Text{"aXbxcx", "x", {"aXb", "c"}},
             Text{"a；b;c；", "；", {"a", "b;c"}},
             Text{"a；b;", ";", {"a；b"}},
             Text{"a.b", ".", {"a"}}, // not a pattern
             Text{"a[b[", "[", {"a", "b"}},
             Text{"ab", ".", {}},
             Text{"a;b;", "", {}},
             Text{"", "", {}},
         }) {
        EXPECT_EQ(split(each.text, each.separator), each.parts) << each.text << " by " << each.separator;
    }
    EXPECT_EQ(split(QString(), ";"), (Parts{}));
    std::vector<QString> parts{QStringLiteral("first")};
    CUtil::plitStr(QStringLiteral("a;"), QStringLiteral(";"), parts);
    EXPECT_EQ(parts, (std::vector<QString>{QStringLiteral("first"), QStringLiteral("a")}));
    const QString many = QStringLiteral("a;").repeated(100000);
    EXPECT_EQ(split(many, ";"), Parts(100000, "a"));
}

QString cleaned(QString text) {
    CUtil::removeEndChar(text);
    return text;
}

TEST(Cleaning, RemovesPrefixesAndLineEnds) {
    EXPECT_EQ(cleaned("0x04d8\r\n"), "04d8");
    EXPECT_EQ(cleaned("04D8"), "04D8");
    EXPECT_EQ(cleaned(""), "");
    EXPECT_EQ(cleaned("0x10x20x"), "12");
    EXPECT_EQ(cleaned("\n1\r2\n\n3\r"), "123");
    EXPECT_EQ(cleaned("0X04d8"), "0X04d8");
    EXPECT_EQ(cleaned(" 04 d8\t"), " 04 d8\t");
    EXPECT_EQ(cleaned("00xx1"), "0x1"); // what closes up is not searched again
    EXPECT_EQ(cleaned("0\rx1"), "0x1"); // nor what the line end parted
}

TEST(Merging, AppendsTextsAndByteStringsToOthersAndThemselves) {
    QString text = QStringLiteral("ab");
    QString tail = QStringLiteral("cd");
    QString nothing;
    CUtil::MergeStr(text, tail);
    CUtil::MergeStr(text, nothing);
    CUtil::MergeStr(nothing, tail);
    EXPECT_EQ(text, "abcd");
    EXPECT_EQ(tail, "cd");
    EXPECT_EQ(nothing, "cd");
    CUtil::MergeStr(tail, tail);
    EXPECT_EQ(tail, "cdcd");
    std::string bytes("a\0b", 3);
    std::string more("\0c", 2);
    CUtil::MergeStr(bytes, more);
    CUtil::MergeStr(more, more);
    EXPECT_EQ(bytes, std::string("a\0b\0c", 5));
    EXPECT_EQ(more, std::string("\0c\0c", 4));
}

TEST(TimeStamp, HasAsciiDigitsInAnyLocale) {
    const QLocale before;
    for (const char* locale : {"ar_EG", "fa_IR", "bn_BD", "my_MM", "ne_NP"}) {
        QLocale::setDefault(QLocale(locale));
        ASSERT_NE(QLocale().zeroDigit(), QLatin1Char('0')) << "the locale has digits of its own";
        const std::string text = CUtil::getCurrentTimes().toStdString();
        EXPECT_THAT(text, testing::MatchesRegex("2[0-9]+"));
        EXPECT_EQ(text.size(), 14U);
    }
    QLocale::setDefault(before);
}

TEST(TickCount, IsTheMonotonicClockInMilliseconds) {
    const auto read = [] {
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        return static_cast<unsigned long long>(
            std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
    };
    const unsigned long long before = read();
    const unsigned long long ticks = CUtil::GetTickCount();
    const unsigned long long after = read();
    EXPECT_GE(ticks, before);
    EXPECT_LE(ticks, after);
}

} // namespace
