#include "util/Util.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

unsigned short crcOf(const std::string& text) {
    Bytes bytes(text.begin(), text.end());
    return CUtil::CRC16(bytes.size(), bytes.data());
}

/// The register's eight shifts for each bit, as the polynomial says.
unsigned int shiftedIn(unsigned int crc, unsigned char byte) {
    crc ^= static_cast<unsigned int>(byte) << 8U;
    for (int bit = 0; bit < 8; ++bit) {
        crc = ((crc << 1U) ^ ((crc & 0x8000U) != 0 ? 0x1021U : 0U)) & 0xFFFFU;
    }
    return crc;
}

TEST(Crc, FollowsThePolynomialFromZeroOn) {
    EXPECT_EQ(crcOf("123456789"), 0x31C3);
    EXPECT_EQ(crcOf(std::string(std::size_t{1} << 20U, '\0') + "123456789"), 0x31C3);
    EXPECT_NE(crcOf("123456789" + std::string(1, '\0')), 0x31C3);
    for (unsigned int first = 0; first < 256; ++first) {
        for (unsigned int second = 0; second < 256; ++second) {
            std::array<unsigned char, 2> bytes{static_cast<unsigned char>(first),
                                               static_cast<unsigned char>(second)};
            const unsigned int ofFirst = shiftedIn(0, bytes[0]);
            ASSERT_EQ(CUtil::CRC16(1, bytes.data()), ofFirst) << "takes no more than the length";
            ASSERT_EQ(CUtil::CRC16(2, bytes.data()), shiftedIn(ofFirst, bytes[1])) << first << ' ' << second;
        }
    }
}

TEST(Crc, OfNothingOrANullPointerIsZero) {
    EXPECT_EQ(crcOf(""), 0);
    for (const unsigned long length : {0UL, 1UL, ~0UL}) {
        EXPECT_EQ(CUtil::CRC16(length, nullptr), 0);
    }
}

/// What is in a buffer of a filling character after the bytes were written into it.
std::string writtenAsText(Bytes bytes, int length) {
    std::string text(600, '#');
    CUtil::hex_to_str(text.data(), bytes.data(), length);
    return text.substr(0, text.find_last_not_of('#') + 1);
}

TEST(HexText, HasTwoLowerCaseDigitsForEachByteAndANul) {
    const std::string nul(1, '\0');
    EXPECT_EQ(writtenAsText({0x0A, 0xFF}, 2), "0aff" + nul);
    EXPECT_EQ(writtenAsText({0xAB, 0xCD, 0xEF}, 2), "abcd" + nul);
    for (unsigned int value = 0; value < 256; ++value) {
        std::array<char, 4> digits{};
        std::snprintf(digits.data(), digits.size(), "%02x", value);
        EXPECT_EQ(writtenAsText({static_cast<unsigned char>(value)}, 1), digits.data() + nul);
    }
}

TEST(HexText, OfALengthBelowOneOrNullWritesNothingNotEvenTheNul) {
    for (const int length : {0, -1, INT_MIN}) {
        EXPECT_EQ(writtenAsText({0x0A}, length), "");
    }
    char text = '#';
    CUtil::hex_to_str(&text, nullptr, 1);
    EXPECT_EQ(text, '#');
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

TEST(HexDigits, AreReadInPairsUpToTheFirstThatHoldsAnythingElse) {
    struct Text {
        const char* text;
        int length;
        Read read;
    };
    for (const Text& each : {
             Text{"0AfF", 4, {2, {0x0A, 0xFF}}},
             Text{"0G12", 4, {0, {}}},
             Text{"G012", 4, {0, {}}},
             Text{"12g3", 4, {1, {0x12}}},
             Text{"123g45", 6, {1, {0x12}}},
             Text{"1234 5", 6, {2, {0x12, 0x34}}},
             // An odd length takes one character more, where there is one.
             Text{"1234", 3, {2, {0x12, 0x34}}},
             Text{"12345", 3, {2, {0x12, 0x34}}},
             Text{"12", 1, {1, {0x12}}},
             Text{"123", 3, {1, {0x12}}},
             Text{"1", 1, {0, {}}},
             // Nothing beyond the length is read.
             Text{"123456", 2, {1, {0x12}}},
             Text{"12", 0, {0, {}}},
             Text{"12", -1, {0, {}}},
             Text{"12", INT_MIN, {0, {}}},
             Text{nullptr, 2, {0, {}}},
         }) {
        EXPECT_EQ(readDigits(each.text, each.length), each.read)
            << (each.text != nullptr ? each.text : "null");
    }
    EXPECT_EQ(CUtil::str_to_hex("12", nullptr, 2), 0);
}

TEST(HexDigits, AreTheseTwentyTwoCharactersAndNoOthers) {
    const std::string digits = "0123456789ABCDEFabcdef";
    for (int value = 1; value < 256; ++value) {
        const char character = static_cast<char>(value);
        const std::string asHigh = std::string(1, character) + "0";
        const std::string asLow = std::string("0") + character;
        if (digits.find(character) == std::string::npos) {
            EXPECT_EQ(readDigits(asHigh.c_str(), 2).count, 0) << value;
            EXPECT_EQ(readDigits(asLow.c_str(), 2).count, 0) << value;
        } else {
            const auto digit = static_cast<unsigned char>(std::stoi(asLow, nullptr, 16));
            EXPECT_EQ(readDigits(asHigh.c_str(), 2), (Read{1, {static_cast<unsigned char>(digit << 4U)}}));
            EXPECT_EQ(readDigits(asLow.c_str(), 2), (Read{1, {digit}}));
        }
    }
}

TEST(HexDigits, AreNotReadBeyondTheTextsEnd) {
    // A text whose memory ends with its NUL; the address sanitizer sees a read after it.
    for (const char* text : {"", "1", "12", "123"}) {
        const std::vector<char> exact(text, text + std::strlen(text) + 1);
        EXPECT_EQ(readDigits(exact.data(), 100).count, static_cast<int>(std::strlen(text) / 2)) << text;
    }
}

} // namespace
