#include "util/Util.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

unsigned short crcOf(const std::string& text) {
    Bytes bytes(text.begin(), text.end());
    return CUtil::CRC16(bytes.size(), bytes.data());
}

TEST(Crc, OfTheNineDigitsIsTheCheckValue) {
    EXPECT_EQ(crcOf("123456789"), 0x31C3);
}

TEST(Crc, OfNothingIsZero) {
    EXPECT_EQ(crcOf(""), 0);
    EXPECT_EQ(CUtil::CRC16(0, nullptr), 0);
}

TEST(Crc, OfANullPointerIsZeroWhateverTheLength) {
    EXPECT_EQ(CUtil::CRC16(1, nullptr), 0);
    EXPECT_EQ(CUtil::CRC16(~0UL, nullptr), 0);
}

TEST(Crc, OfOneByteIsTheTablesEntry) {
    EXPECT_EQ(crcOf("\x01"), 0x1021);
    EXPECT_EQ(crcOf("\xFF"), 0x1EF0);
    EXPECT_EQ(crcOf("\x80"), 0x9188);
    EXPECT_EQ(crcOf(std::string(1, '\0')), 0);
}

/// The register's eight shifts for each bit, as the polynomial says.
unsigned int shiftedIn(unsigned int crc, unsigned char byte) {
    crc ^= static_cast<unsigned int>(byte) << 8U;
    for (int bit = 0; bit < 8; ++bit) {
        crc = ((crc << 1U) ^ ((crc & 0x8000U) != 0 ? 0x1021U : 0U)) & 0xFFFFU;
    }
    return crc;
}

TEST(Crc, OfEveryByteInEveryPlaceFollowsThePolynomial) {
    for (unsigned int first = 0; first < 256; ++first) {
        for (unsigned int second = 0; second < 256; ++second) {
            std::array<unsigned char, 2> bytes{static_cast<unsigned char>(first),
                                               static_cast<unsigned char>(second)};
            const unsigned int expected = shiftedIn(shiftedIn(0, bytes[0]), bytes[1]);
            ASSERT_EQ(CUtil::CRC16(bytes.size(), bytes.data()), expected) << first << ' ' << second;
        }
    }
}

TEST(Crc, OfAMessageFollowedByItsCrcIsZero) {
    EXPECT_EQ(crcOf("123456789\x31\xC3"), 0);
}

TEST(Crc, CountsZerosAfterOtherBytesOnly) {
    EXPECT_EQ(crcOf(std::string(5, '\0') + "123456789"), 0x31C3); // the register starts at 0
    EXPECT_NE(crcOf("123456789" + std::string(1, '\0')), 0x31C3);
}

TEST(Crc, TakesNoMoreThanTheLength) {
    Bytes bytes{'1', '2', '3', '4', '5', '6', '7', '8', '9', 'x', 'y'};
    EXPECT_EQ(CUtil::CRC16(9, bytes.data()), 0x31C3);
}

TEST(Crc, OfAMebibyteIsComputedInFull) {
    const std::string zeros(std::size_t{1} << 20U, '\0');
    EXPECT_EQ(crcOf(zeros), 0);
    EXPECT_EQ(crcOf(zeros + "123456789"), 0x31C3);
}

/// What is in a buffer of a filling character after the bytes were written into it.
std::string writtenAsText(Bytes bytes, int length) {
    std::array<char, 600> text{};
    text.fill('#');
    CUtil::hex_to_str(text.data(), bytes.data(), length);
    const std::string whole(text.data(), text.size());
    return whole.substr(0, whole.find_last_not_of('#') + 1);
}

const std::string kNul(1, '\0');

TEST(HexText, HasTwoLowerCaseDigitsForEachByteAndANul) {
    EXPECT_EQ(writtenAsText({0x0A, 0xFF}, 2), "0aff" + kNul);
    EXPECT_EQ(writtenAsText({0x00}, 1), "00" + kNul);
    EXPECT_EQ(writtenAsText({0xAB, 0xCD, 0xEF}, 2), "abcd" + kNul);
}

TEST(HexText, WritesEveryByte) {
    Bytes bytes;
    std::string expected;
    for (unsigned int value = 0; value < 256; ++value) {
        bytes.push_back(static_cast<unsigned char>(value));
        std::array<char, 4> digits{};
        std::snprintf(digits.data(), digits.size(), "%02x", value);
        expected += digits.data();
    }
    EXPECT_EQ(writtenAsText(bytes, 256), expected + kNul);
}

TEST(HexText, OfALengthBelowOneWritesNothingNotEvenTheNul) {
    EXPECT_EQ(writtenAsText({0x0A}, 0), "");
    EXPECT_EQ(writtenAsText({0x0A}, -1), "");
    EXPECT_EQ(writtenAsText({0x0A}, -2147483647 - 1), "");
}

TEST(HexText, OfNothingAtNullIsNothing) {
    std::array<char, 4> text{'#', '#', '#', '#'};
    CUtil::hex_to_str(text.data(), nullptr, 1);
    EXPECT_EQ(text[0], '#');
    unsigned char byte = 1;
    CUtil::hex_to_str(nullptr, &byte, 1);
}

/// What came of reading digits: the number of bytes that the call gives, and the bytes that it wrote.
struct Read {
    int count;
    Bytes bytes;

    bool operator==(const Read& other) const { return count == other.count && bytes == other.bytes; }
};

void PrintTo(const Read& read, std::ostream* stream) {
    *stream << read.count << " bytes: " << testing::PrintToString(read.bytes);
}

/// Reads into a buffer that shows what was written, also after the bytes that count.
Read readDigits(const char* text, int length) {
    constexpr unsigned char filling = 0x5A;
    Bytes bytes(300, filling);
    const int count = CUtil::str_to_hex(text, bytes.data(), length);
    while (!bytes.empty() && bytes.back() == filling) {
        bytes.pop_back();
    }
    return {count, bytes};
}

TEST(HexDigits, OfBothCasesAreRead) {
    EXPECT_EQ(readDigits("0AfF", 4), (Read{2, {0x0A, 0xFF}}));
    EXPECT_EQ(readDigits("0123456789abcdefABCDEF", 22),
              (Read{11, {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF}}));
}

TEST(HexDigits, StopAtTheFirstPairThatHoldsAnythingElse) {
    EXPECT_EQ(readDigits("0G12", 4), (Read{0, {}}));
    EXPECT_EQ(readDigits("G012", 4), (Read{0, {}}));
    EXPECT_EQ(readDigits("12g3", 4), (Read{1, {0x12}}));
    EXPECT_EQ(readDigits("123g45", 6), (Read{1, {0x12}}));
    EXPECT_EQ(readDigits("1234 5", 6), (Read{2, {0x12, 0x34}}));
}

TEST(HexDigits, AreTheseTwentyTwoCharactersAndNoOthers) {
    const std::string digits = "0123456789ABCDEFabcdef";
    for (int value = 1; value < 256; ++value) {
        const char character = static_cast<char>(value);
        const int expected = digits.find(character) != std::string::npos ? 1 : 0;
        const std::string asHigh = std::string(1, character) + "0";
        const std::string asLow = std::string("0") + character;
        EXPECT_EQ(readDigits(asHigh.c_str(), 2).count, expected) << value;
        EXPECT_EQ(readDigits(asLow.c_str(), 2).count, expected) << value;
    }
}

TEST(HexDigits, OfAnOddLengthTakeOneCharacterMore) {
    EXPECT_EQ(readDigits("1234", 3), (Read{2, {0x12, 0x34}}));
    EXPECT_EQ(readDigits("12", 1), (Read{1, {0x12}}));
    EXPECT_EQ(readDigits("12345", 3), (Read{2, {0x12, 0x34}}));
}

TEST(HexDigits, OfAnOddLengthAtTheTextsEndGiveHalfOfIt) {
    EXPECT_EQ(readDigits("123", 3), (Read{1, {0x12}}));
    EXPECT_EQ(readDigits("1", 1), (Read{0, {}}));
    EXPECT_EQ(readDigits("12345", 5), (Read{2, {0x12, 0x34}}));
}

TEST(HexDigits, OfALengthBelowOneAreNone) {
    EXPECT_EQ(readDigits("12", 0), (Read{0, {}}));
    EXPECT_EQ(readDigits("12", -1), (Read{0, {}}));
    EXPECT_EQ(readDigits("12", -2147483647 - 1), (Read{0, {}}));
}

TEST(HexDigits, AreNotReadBeyondTheTextsEnd) {
    // A text whose memory ends with its NUL; the address sanitizer sees a read after it.
    for (const char* text : {"", "1", "12", "123"}) {
        const std::vector<char> exact(text, text + std::strlen(text) + 1);
        EXPECT_EQ(readDigits(exact.data(), 100).count, static_cast<int>(std::strlen(text) / 2)) << text;
    }
}

TEST(HexDigits, AreNotReadBeyondTheLength) {
    EXPECT_EQ(readDigits("123456", 2), (Read{1, {0x12}}));
    EXPECT_EQ(readDigits("123456", 4), (Read{2, {0x12, 0x34}}));
}

TEST(HexDigits, OfNullAreNone) {
    EXPECT_EQ(readDigits(nullptr, 2), (Read{0, {}}));
    EXPECT_EQ(CUtil::str_to_hex("12", nullptr, 2), 0);
}

TEST(HexDigits, GiveBackWhatHexTextWrote) {
    Bytes bytes;
    for (unsigned int value = 0; value < 256; ++value) {
        bytes.push_back(static_cast<unsigned char>(255 - value));
    }
    std::array<char, 513> text{};
    CUtil::hex_to_str(text.data(), bytes.data(), 256);
    EXPECT_EQ(readDigits(text.data(), 512), (Read{256, bytes}));
}

} // namespace
