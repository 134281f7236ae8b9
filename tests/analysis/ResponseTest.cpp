#include "analysis/Response.h"
#include "analysis/TransactionTable.h"

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace {

using namespace pdalink;

/// How many bytes Qt writes for a text, without the quotes.
std::size_t sizeByQt(const QString& text) {
    constexpr int around = 4; // brackets and quotes
    return static_cast<std::size_t>(QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact).size() -
                                    around);
}

TEST(WrittenSize, IsThatOfEveryCharacterAndOfPairsInAnyOrder) {
    for (uint unit = 0; unit <= 0xFFFF; ++unit) { // halves of surrogate pairs among them
        const QString text(QChar{unit});
        ASSERT_EQ(writtenSize(text), sizeByQt(text)) << unit;
    }
    for (uint first = 0x10000; first <= 0x10FFFF; first += 0x100) {
        std::vector<uint> codePoints;
        for (uint each = 0; each < 0x100; ++each) {
            codePoints.push_back(first + each);
        }
        const QString text = QString::fromUcs4(codePoints.data(), static_cast<int>(codePoints.size()));
        ASSERT_EQ(writtenSize(text), sizeByQt(text)) << first;
    }
    const std::vector<QChar> units{QChar(0xD83D), QChar(0xDE00), QChar('a'), QChar(0x7EC8)};
    const std::size_t kinds = units.size();
    for (std::size_t number = 0; number < kinds * kinds * kinds * kinds; ++number) {
        QString text;
        for (std::size_t rest = number, i = 0; i < 4; ++i, rest /= kinds) {
            text += units[rest % kinds];
        }
        ASSERT_EQ(writtenSize(text), sizeByQt(text)) << number;
    }
}

constexpr std::size_t kLimit = 131072;
constexpr std::size_t kLimitWithLongValue = 115000;
constexpr std::size_t kLongestShort = 4999;

/// What becomes of values that a transaction has put into its outputs.
struct Limited {
    Limited(const char* member, const std::vector<std::string>& values) {
        Response response(kTransactions[rowOf(member)]);
        const std::vector<Output> outputs = response.outputs();
        for (std::size_t i = 0; i < values.size(); ++i) {
            outputs[i].copyAt(0, values[i]);
        }
        warning = response.limit();
        json = response.json().toStdString();
    }

    std::size_t size() const { return json.size() + 1; } ///< with the NUL
    bool names(const char* output) const { return warning.find(output) != std::string::npos; }

    std::string warning;
    std::string json;
};

/// A response of three texts, of which the middle one is given.
Limited limited(const std::string& text) {
    return {"Init", {"sn", text, "000000"}};
}

struct Piece {
    const char* name;
    std::string bytes;
};

// Bytes that are not UTF-8 among them: what becomes of those counts.
const Piece kPieces[] = {
    {"nothing", ""},
    {"NUL", std::string(1, '\0')},
    {"control", "\x01"},
    {"line feed", "\n"},
    {"quote", "\""},
    {"delete", "\x7F"},
    {"Latin", "\xC3\xA9"},
    {"Chinese", "\xE7\xBB\x88"},
    {"emoji", "\xF0\x9F\x98\x80"},
    {"invalid byte", "\xFF"},
    {"cut emoji", "\xF0\x9F\x98"},
    {"overlong NUL", "\xC0\x80"},
    {"half a pair", "\xED\xA0\x80"},
    {"beyond Unicode", "\xF4\x90\x80\x80"},
    {"byte order mark", "\xEF\xBB\xBF"},
};

TEST(ResponseLimit, IsKeptToTheByteWhateverTheCharacters) {
    for (const Piece& piece : kPieces) {
        SCOPED_TRACE(piece.name);
        std::string text;
        std::size_t size = limited("").size();
        // Qt tells how much a piece adds; behind an "a", so that the first one is like the others.
        const auto sizeOf = [](const std::string& bytes) { return sizeByQt(QString::fromStdString(bytes)); };
        const std::size_t added = sizeOf("a" + piece.bytes + "a") - 2;
        while (size + added + 2 < kLimitWithLongValue) {
            text += "a" + piece.bytes;
            size += added + 1;
        }
        text += std::string(kLimitWithLongValue - size, 'a');
        EXPECT_EQ(limited(text).warning, "");
        EXPECT_EQ(limited(text).size(), kLimitWithLongValue);
        EXPECT_TRUE(limited(text + "a").names("pRetCode"));
    }
    // Qt drops a mark at the beginning.
    const std::string room(kLimitWithLongValue - limited("").size(), 'a');
    EXPECT_EQ(limited("\xEF\xBB\xBF" + room).warning, "");
    EXPECT_NE(limited("\xEF\xBB\xBF" + room + "a").warning, "");
}

TEST(ResponseLimit, LeavesTheValueBeyondItEmptyAndAllBehindIt) {
    const Limited response = limited(std::string(8000000, 'a'));
    EXPECT_EQ(response.json, R"({"pRetCode":"","pSN":"sn","pVender":"","transCode":"600001"})");
    EXPECT_TRUE(response.names("pVender") && response.names("8000000 bytes")) << response.warning;
}

/// A response of 23 texts, of which the last but one are made of quotes, one byte more each, until its size
/// is reached.
std::vector<std::string> valuesOfSize(std::size_t wanted, std::vector<std::string> values) {
    std::size_t missing = wanted - Limited("GetHandoverDotRet", values).size();
    for (std::size_t i = 21; missing > 0; --i) {
        const std::size_t quotes = std::min(missing, kLongestShort);
        values[i].replace(0, quotes, std::string(quotes, '"'));
        missing -= quotes;
    }
    return values;
}

TEST(ResponseLimit, Is131072BytesWithoutAValueOf5000And115000WithOne) {
    const std::vector<std::string> shortValues(23, std::string(kLongestShort, 'a'));
    std::vector<std::string> values = valuesOfSize(kLimit, shortValues);
    EXPECT_EQ(Limited("GetHandoverDotRet", values).size(), kLimit);
    EXPECT_EQ(Limited("GetHandoverDotRet", values).warning, "");
    values[22][0] = '"';
    EXPECT_EQ(Limited("GetHandoverDotRet", values).size(), kLimit - kLongestShort);
    EXPECT_TRUE(Limited("GetHandoverDotRet", values).names("pScanState"));

    values = shortValues;
    values[0] = std::string(5000, 'a');
    values[22].clear();
    values = valuesOfSize(kLimitWithLongValue, values);
    EXPECT_EQ(Limited("GetHandoverDotRet", values).size(), kLimitWithLongValue);
    EXPECT_EQ(Limited("GetHandoverDotRet", values).warning, "");
    values[22] = "a";
    EXPECT_EQ(Limited("GetHandoverDotRet", values).size(), kLimitWithLongValue);
    EXPECT_TRUE(Limited("GetHandoverDotRet", values).names("pScanState"));

    values = shortValues;
    values[10] = std::string(100000, 'a');
    EXPECT_GT(Limited("GetHandoverDotRet", values).size(), 10 * kLongestShort) << "those in front are kept";
    EXPECT_TRUE(Limited("GetHandoverDotRet", values).names("pBLogin"));
}

TEST(ResponseLimit, CountsNumbersAndLeavesThemZeroBehindIt) {
    Response response(kTransactions[rowOf("GetScanLabelList")]);
    const std::vector<Output> outputs = response.outputs();
    const std::size_t empty = static_cast<std::size_t>(response.json().size()) + 1;
    outputs[0].copyAt(0, std::string(kLimitWithLongValue - empty - 1, 'a'));
    outputs[1].setNumber(10);
    EXPECT_EQ(response.limit(), "");
    outputs[1].setNumber(100);
    EXPECT_NE(response.limit().find("pLabelSize"), std::string::npos);
    EXPECT_EQ(static_cast<std::size_t>(response.json().size()) + 1, kLimitWithLongValue - 1);
    outputs[0].copyAt(0, std::string(kLimitWithLongValue, 'a'));
    outputs[1].setNumber(-2000000000);
    outputs[2].setNumber(7);
    EXPECT_NE(response.limit(), "");
    EXPECT_EQ(response.json().toStdString(),
              R"({"pLabelLen":0,"pLabelList":"","pLabelSize":0,"pScanState":"","transCode":"600005"})");
}

TEST(ResultTexts, KeepTheBeginningOfWhatIsTooLong) {
    ResultText text;
    const Output output(text);
    const std::string half(ResultText::kMax / 2 + 1, 'a');
    output.copyAt(0, half);
    EXPECT_TRUE(text.isWhole());
    output.copyAt(half.size(), half);
    EXPECT_FALSE(text.isWhole());
    EXPECT_EQ(text.size(), 2 * half.size());
    output.copyAt(500000000, "b");
    EXPECT_EQ(text.size(), 500000001U);
    EXPECT_EQ(text.toQString().size(), static_cast<int>(ResultText::kMax));
    EXPECT_EQ(text.toQString().count(QLatin1Char('a')), static_cast<int>(ResultText::kMax));
}

} // namespace
