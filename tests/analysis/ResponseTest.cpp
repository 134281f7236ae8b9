#include "analysis/Response.h"
#include "analysis/TransactionTable.h"

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <cstddef>
#include <ostream>
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

TEST(WrittenSize, IsThatOfEveryUnitByItself) {
    for (uint unit = 0; unit <= 0xFFFF; ++unit) { // halves of surrogate pairs among them
        const QString text(QChar{unit});
        ASSERT_EQ(writtenSize(text), sizeByQt(text)) << unit;
    }
}

TEST(WrittenSize, IsThatOfEveryCodePointBehindTheFirstPlane) {
    for (uint first = 0x10000; first <= 0x10FFFF; first += 0x100) {
        std::vector<uint> codePoints;
        for (uint each = 0; each < 0x100; ++each) {
            codePoints.push_back(first + each);
        }
        const QString text = QString::fromUcs4(codePoints.data(), static_cast<int>(codePoints.size()));
        ASSERT_EQ(writtenSize(text), sizeByQt(text)) << first;
    }
}

TEST(WrittenSize, IsThatOfPairsInAnyOrder) {
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

void put(const std::vector<Output>& outputs, std::size_t index, const std::string& text) {
    outputs[index].copyAt(0, text);
}

constexpr std::size_t kLimit = 131072;
constexpr std::size_t kLimitWithLongValue = 115000;

/// A response of three texts, of which the middle one is given.
class LimitedResponse {
public:
    explicit LimitedResponse(const std::string& text) : m_response(kTransactions[rowOf("Init")]) {
        put(m_response.outputs(), 0, "sn");
        put(m_response.outputs(), 1, text);
        put(m_response.outputs(), 2, "000000");
        m_warning = m_response.limit();
    }

    std::size_t size() const { return static_cast<std::size_t>(m_response.json().size()); }
    bool isWhole() const { return m_warning.empty(); }
    std::string json() const { return m_response.json().toStdString(); }
    std::string warning() const { return m_warning; }

private:
    Response m_response;
    std::string m_warning;
};

struct Piece {
    const char* name;
    std::string bytes;
};

std::ostream& operator<<(std::ostream& stream, const Piece& piece) {
    return stream << piece.name;
}

class ResponseOf : public testing::TestWithParam<Piece> {};

TEST_P(ResponseOf, IsWholeUpToTheLimitToTheByte) {
    const std::string& piece = GetParam().bytes;
    std::string text;
    std::size_t size = LimitedResponse("").size();
    // Qt tells how much a piece adds; behind an "a", so that the first one is like the others.
    const auto sizeOf = [](const std::string& bytes) { return sizeByQt(QString::fromStdString(bytes)); };
    const std::size_t added = sizeOf("a" + piece + "a") - 2;
    while (size + added + 2 < kLimitWithLongValue) {
        text += "a" + piece;
        size += added + 1;
    }
    text += std::string(kLimitWithLongValue - 1 - size, 'a');
    const LimitedResponse whole(text);
    EXPECT_EQ(whole.warning(), "");
    EXPECT_EQ(whole.size(), kLimitWithLongValue - 1);
    EXPECT_FALSE(LimitedResponse(text + "a").isWhole());
}

INSTANTIATE_TEST_SUITE_P(Repeated, ResponseOf,
                         testing::Values(Piece{"Nul", std::string(1, '\0')}, Piece{"Control", "\x01"},
                                         Piece{"LastControl", "\x1F"}, Piece{"LineFeed", "\n"},
                                         Piece{"Backspace", "\b"}, Piece{"Quote", "\""},
                                         Piece{"Backslash", "\\"}, Piece{"Slash", "/"},
                                         Piece{"Delete", "\x7F"}, Piece{"Latin", "\xC3\xA9"},
                                         Piece{"Chinese", "\xE7\xBB\x88"}, Piece{"Emoji", "\xF0\x9F\x98\x80"},
                                         Piece{"InvalidByte", "\xFF"}, Piece{"CutChinese", "\xE7\xBB"},
                                         Piece{"CutEmoji", "\xF0\x9F\x98"}, Piece{"Continuation", "\x80"},
                                         Piece{"OverlongNul", "\xC0\x80"}, Piece{"HalfPair", "\xED\xA0\x80"},
                                         Piece{"BeyondUnicode", "\xF4\x90\x80\x80"},
                                         Piece{"ByteOrderMark", "\xEF\xBB\xBF"}),
                         [](const testing::TestParamInfo<Piece>& info) { return info.param.name; });

TEST(ResponseLimit, CountsNoByteOrderMarkThatQtDrops) {
    const std::size_t room = kLimitWithLongValue - 1 - LimitedResponse("").size();
    const std::string mark = "\xEF\xBB\xBF";
    EXPECT_TRUE(LimitedResponse(mark + std::string(room, 'a')).isWhole());
    EXPECT_FALSE(LimitedResponse(mark + std::string(room + 1, 'a')).isWhole());
}

TEST(ResponseLimit, LeavesTheValueBeyondItEmptyAndAllBehindIt) {
    const LimitedResponse response(std::string(8000000, 'a'));
    EXPECT_EQ(response.json(), R"({"pRetCode":"","pSN":"sn","pVender":"","transCode":"600001"})");
    EXPECT_NE(response.warning().find("pVender"), std::string::npos);
    EXPECT_NE(response.warning().find("8000000 bytes"), std::string::npos);
}

/// A response of 23 texts.
class LargeResponse : public testing::Test {
protected:
    static constexpr std::size_t kLongestShort = 4999;

    LargeResponse() : m_values(23, std::string(kLongestShort, 'a')) {}

    /// The size with the NUL, and what was said about the limit.
    std::size_t size() {
        Response response(kTransactions[rowOf("GetHandoverDotRet")]);
        for (std::size_t i = 0; i < 23; ++i) {
            put(response.outputs(), i, m_values[i]);
        }
        m_warning = response.limit();
        return static_cast<std::size_t>(response.json().size()) + 1;
    }

    /// Makes characters of the last value but one into quotes, one byte more each, until the size is reached.
    void growTo(std::size_t wanted) {
        std::size_t missing = wanted - size();
        for (std::size_t i = 21; missing > 0; --i) {
            const std::size_t quotes = std::min(missing, kLongestShort);
            m_values[i].replace(0, quotes, std::string(quotes, '"'));
            missing -= quotes;
        }
    }

    std::vector<std::string>& values() { return m_values; }
    std::string warning() const { return m_warning; }

private:
    std::vector<std::string> m_values;
    std::string m_warning;
};

TEST_F(LargeResponse, IsWholeUpTo131072BytesWithoutAValueOf5000) {
    growTo(kLimit);
    EXPECT_EQ(size(), kLimit);
    EXPECT_EQ(warning(), "");
}

TEST_F(LargeResponse, LosesTheLastValueOneByteBeyond) {
    growTo(kLimit);
    values()[22][0] = '"';
    EXPECT_EQ(size(), kLimit - kLongestShort);
    EXPECT_NE(warning().find("pScanState"), std::string::npos) << warning();
}

TEST_F(LargeResponse, MayHave115000BytesOnceAValueHas5000) {
    values()[0] = std::string(5000, 'a');
    values()[22].clear();
    growTo(kLimitWithLongValue);
    EXPECT_EQ(size(), kLimitWithLongValue);
    EXPECT_EQ(warning(), "");
    values()[22] = "a";
    EXPECT_EQ(size(), kLimitWithLongValue);
    EXPECT_NE(warning().find("pScanState"), std::string::npos) << warning();
}

TEST_F(LargeResponse, KeepsValuesInFrontOfTheFirstThatIsTooMuch) {
    values()[10] = std::string(100000, 'a');
    EXPECT_GT(size(), 10 * kLongestShort);
    EXPECT_NE(warning().find("pBLogin"), std::string::npos) << warning();
}

TEST(ResponseNumbers, CountAndAreZeroBehindTheLimit) {
    Response response(kTransactions[rowOf("GetScanLabelList")]);
    const std::vector<Output> outputs = response.outputs();
    put(outputs, 0, std::string(kLimitWithLongValue, 'a'));
    outputs[1].setNumber(-2000000000);
    outputs[2].setNumber(7);
    EXPECT_NE(response.limit(), "");
    EXPECT_EQ(response.json().toStdString(),
              R"({"pLabelLen":0,"pLabelList":"","pLabelSize":0,"pScanState":"","transCode":"600005"})");
}

TEST(ResponseNumbers, MayBeWhatDoesNotFit) {
    Response response(kTransactions[rowOf("GetScanLabelList")]);
    const std::size_t empty = static_cast<std::size_t>(response.json().size()) + 1;
    const std::vector<Output> outputs = response.outputs();
    put(outputs, 0, std::string(kLimitWithLongValue - empty - 1, 'a'));
    outputs[1].setNumber(10);
    EXPECT_EQ(response.limit(), "");
    outputs[1].setNumber(100);
    EXPECT_NE(response.limit().find("pLabelSize"), std::string::npos);
    EXPECT_EQ(static_cast<std::size_t>(response.json().size()) + 1, kLimitWithLongValue - 1);
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
