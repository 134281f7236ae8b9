#include "util/Util.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QDateTime>
#include <QLocale>

#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

std::vector<std::string> split(const QString& text, const QString& separator = QStringLiteral(";")) {
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
    EXPECT_EQ(split("a;b;"), (Parts{"a", "b"}));
}

TEST(Splitting, DropsTheRestBehindTheLastSeparator) {
    EXPECT_EQ(split("a;b"), (Parts{"a"}));
}

TEST(Splitting, SkipsEmptyParts) {
    EXPECT_EQ(split(";;a;;;b;;"), (Parts{"a", "b"}));
    EXPECT_EQ(split(";"), (Parts{}));
}

TEST(Splitting, KeepsBlanksAndLineEndsInParts) {
    EXPECT_EQ(split(" a ;\r\n;"), (Parts{" a ", "\r\n"}));
}

TEST(Splitting, AppendsNothingForEmptyTextOrWithoutSeparator) {
    EXPECT_EQ(split(""), (Parts{}));
    EXPECT_EQ(split(QString()), (Parts{}));
    EXPECT_EQ(split("abc"), (Parts{}));
}

TEST(Splitting, AppendsBehindWhatIsThere) {
    std::vector<QString> parts{QStringLiteral("first")};
    CUtil::plitStr(QStringLiteral("a;"), QStringLiteral(";"), parts);
    EXPECT_EQ(parts, (std::vector<QString>{QStringLiteral("first"), QStringLiteral("a")}));
}

TEST(Splitting, UsesTheWholeSeparator) {
    EXPECT_EQ(split("a--b-c--d", "--"), (Parts{"a", "b-c"}));
    EXPECT_EQ(split("a---b--", "--"), (Parts{"a", "-b"}));
    EXPECT_EQ(split("a;b--", "--"), (Parts{"a;b"}));
}

TEST(Splitting, DistinguishesLetterCase) {
    EXPECT_EQ(split("aXbxcx", "x"), (Parts{"aXb", "c"}));
}

TEST(Splitting, TakesTheFullWidthSeparatorForItsOwnCharacter) {
    EXPECT_EQ(split("a；b;c；", "；"), (Parts{"a", "b;c"}));
    EXPECT_EQ(split("a；b;", ";"), (Parts{"a；b"}));
}

TEST(Splitting, DoesNotTakeTheSeparatorForAPattern) {
    EXPECT_EQ(split("a.b", "."), (Parts{"a"}));
    EXPECT_EQ(split("a[b[", "["), (Parts{"a", "b"}));
    EXPECT_EQ(split("ab", "."), (Parts{}));
}

TEST(Splitting, SeparatesNothingByAnEmptySeparator) {
    EXPECT_EQ(split("a;b;", ""), (Parts{}));
    EXPECT_EQ(split("", ""), (Parts{}));
}

TEST(Splitting, SplitsAHundredThousandEntriesInOrder) {
    constexpr int count = 100000;
    QString list;
    for (int i = 0; i < count; ++i) {
        list += QString::number(i) + QLatin1Char(';');
    }
    std::vector<QString> parts;
    CUtil::plitStr(list, QStringLiteral(";"), parts);
    ASSERT_EQ(parts.size(), static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        ASSERT_EQ(parts[static_cast<std::size_t>(i)], QString::number(i));
    }
}

QString cleaned(QString text) {
    CUtil::removeEndChar(text);
    return text;
}

TEST(Cleaning, RemovesPrefixAndLineEnd) {
    EXPECT_EQ(cleaned("0x04d8\r\n"), "04d8");
}

TEST(Cleaning, LeavesAPlainIdAlone) {
    EXPECT_EQ(cleaned("04D8"), "04D8");
    EXPECT_EQ(cleaned(""), "");
}

TEST(Cleaning, RemovesEveryOccurrence) {
    EXPECT_EQ(cleaned("0x10x20x"), "12");
    EXPECT_EQ(cleaned("\n1\r2\n\n3\r"), "123");
}

TEST(Cleaning, KeepsTheUpperCasePrefix) {
    EXPECT_EQ(cleaned("0X04d8"), "0X04d8");
}

TEST(Cleaning, RemovesThePrefixOnceAndLineEndsAfterwards) {
    EXPECT_EQ(cleaned("00xx1"), "0x1"); // what closes up is not searched again
    EXPECT_EQ(cleaned("0\rx1"), "0x1"); // nor what the line end parted
}

TEST(Cleaning, KeepsBlanksAndTabs) {
    EXPECT_EQ(cleaned(" 04 d8\t"), " 04 d8\t");
}

TEST(Merging, AppendsTexts) {
    QString text = QStringLiteral("ab");
    QString tail = QStringLiteral("cd");
    CUtil::MergeStr(text, tail);
    EXPECT_EQ(text, "abcd");
    EXPECT_EQ(tail, "cd");
}

TEST(Merging, AppendsByteStringsWithTheirNulBytes) {
    std::string text("a\0b", 3);
    std::string tail("\0c", 2);
    CUtil::MergeStr(text, tail);
    EXPECT_EQ(text, std::string("a\0b\0c", 5));
    EXPECT_EQ(tail, std::string("\0c", 2));
}

TEST(Merging, AppendsNothingFromAnEmptyText) {
    QString text = QStringLiteral("ab");
    QString nothing;
    CUtil::MergeStr(text, nothing);
    EXPECT_EQ(text, "ab");
    CUtil::MergeStr(nothing, text);
    EXPECT_EQ(nothing, "ab");
    std::string bytes;
    std::string tail = "c";
    CUtil::MergeStr(bytes, tail);
    EXPECT_EQ(bytes, "c");
}

TEST(Merging, AppendsATextToItself) {
    QString text = QStringLiteral("ab");
    CUtil::MergeStr(text, text);
    EXPECT_EQ(text, "abab");
    std::string bytes = "ab";
    CUtil::MergeStr(bytes, bytes);
    EXPECT_EQ(bytes, "abab");
}

TEST(TimeStamp, IsTheLocalTimeInFourteenDigits) {
    const QDateTime before = QDateTime::currentDateTime().addMSecs(-999);
    const QString text = CUtil::getCurrentTimes();
    const QDateTime after = QDateTime::currentDateTime();
    ASSERT_EQ(text.size(), 14);
    const QDateTime stamp = QDateTime::fromString(text, QStringLiteral("yyyyMMddhhmmss"));
    ASSERT_TRUE(stamp.isValid()) << text.toStdString();
    EXPECT_GE(stamp, before);
    EXPECT_LE(stamp, after);
}

class TimeStampIn : public testing::TestWithParam<const char*> {};

TEST_P(TimeStampIn, HasAsciiDigits) {
    setenv("LC_ALL", (std::string(GetParam()) + ".UTF-8").c_str(), 1);
    QLocale::setDefault(QLocale(GetParam()));
    ASSERT_NE(QLocale().zeroDigit(), QLatin1Char('0')) << "the locale has digits of its own";
    const std::string text = CUtil::getCurrentTimes().toStdString();
    EXPECT_THAT(text, testing::MatchesRegex("2[0-9]+"));
    EXPECT_EQ(text.size(), 14U);
}

INSTANTIATE_TEST_SUITE_P(Locale, TimeStampIn, testing::Values("ar_EG", "fa_IR", "bn_BD", "my_MM", "ne_NP"));

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
