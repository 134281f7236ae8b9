#include "core/Texts.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace {

using pdasim::crcXmodem;
using pdasim::decimalNumber;
using pdasim::hexCheck;
using pdasim::leadingNumber;
using pdasim::listText;
using pdasim::listValues;
using Texts = std::vector<std::string>;

TEST(Texts, ADecimalNumberIsWrittenInOneWayOnly) {
    EXPECT_EQ(decimalNumber("0"), 0);
    EXPECT_EQ(decimalNumber("-17"), -17);
    EXPECT_EQ(decimalNumber("2147483647"), std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(decimalNumber("-2147483648"), std::numeric_limits<std::int32_t>::min());
    for (const std::string bad : {"", "00", "01", "+1", "-0", " 1", "1 ", "1.0", "2147483648", "x"}) {
        EXPECT_EQ(decimalNumber(bad), std::nullopt) << bad;
    }
}

TEST(Texts, ALeadingNumberEndsAtTheFirstCharacterThatIsNoDigit) {
    EXPECT_EQ(leadingNumber("2"), 2);
    EXPECT_EQ(leadingNumber(" \t+12abc"), 12);
    EXPECT_EQ(leadingNumber("-3;"), -3);
    EXPECT_EQ(leadingNumber("007"), 7);
    for (const std::string none : {"", "  ", "abc", "+-1", "- 1", "+"}) {
        EXPECT_EQ(leadingNumber(none), 0) << none;
    }
    EXPECT_EQ(leadingNumber("99999999999999999999"), std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(leadingNumber("-99999999999999999999"), std::numeric_limits<std::int32_t>::min());
}

TEST(Texts, ListsCountOnlyWhatIsFollowedByASemicolon) {
    EXPECT_EQ(listText({"A", "", "B"}), "A;;B;");
    EXPECT_EQ(listText({}), "");
    EXPECT_EQ(listValues("A;B;"), (Texts{"A", "B"}));
    EXPECT_EQ(listValues("A;;B;C"), (Texts{"A", "B"}));
    EXPECT_EQ(listValues("A"), Texts());
    EXPECT_EQ(listValues(""), Texts());
}

TEST(HexPacket, TheCrcOfNineDigitsIsThePublishedOne) {
    EXPECT_EQ(crcXmodem("123456789"), 0x31C3);
    EXPECT_EQ(crcXmodem(""), 0);
    EXPECT_EQ(crcXmodem("\xFF"), 0x1EF0);
}

TEST(HexPacket, TheCheckGoesOverTheBytesThatTheTextSpells) {
    EXPECT_EQ(hexCheck("313233343536373839"), "31c3");
    EXPECT_EQ(hexCheck(""), "0000");
    EXPECT_EQ(hexCheck("fF"), "1ef0");
}

TEST(HexPacket, TheLastDigitOfAnOddTextDoesNotCount) {
    EXPECT_EQ(hexCheck("3132333435363738390"), "31c3");
    EXPECT_EQ(hexCheck("7"), "0000");
}

TEST(HexPacket, WhatIsNoDigitEndsTheDecodingAndTheRestIsZeros) {
    const auto check = [](const std::string& bytes, std::size_t zeros) {
        std::array<char, 8> text{};
        (void)std::snprintf(text.data(), text.size(), "%04x", crcXmodem(bytes + std::string(zeros, '\0')));
        return std::string(text.data());
    };
    EXPECT_EQ(hexCheck("31g233"), check("1", 2));
    EXPECT_EQ(hexCheck("31-133"), check("1", 2));
    EXPECT_EQ(hexCheck("313x33"), check("1", 2));
    EXPECT_EQ(hexCheck("0x31"), check("", 2));
    EXPECT_EQ(hexCheck("3132\xC3\xA4\xC3\xA4"), check("12", 1));
}

} // namespace
