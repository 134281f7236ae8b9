#include "usb/HostSide.h"

#include "BareClient.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using pdasim::MessageAssembler;

constexpr std::size_t kPacket = 64;

/// What has become whole of a text that comes in pieces of a size.
std::vector<std::string> assemble(MessageAssembler& assembler, std::string_view text, std::size_t size) {
    std::vector<std::string> whole;
    for (std::size_t at = 0; at < text.size(); at += size) {
        if (auto message = assembler.add(text.substr(at, size))) {
            whole.push_back(*message);
        }
    }
    return whole;
}

/// A message of exactly N bytes.
std::string messageOf(std::size_t size) {
    const std::string empty = pdasim::test::request("8001", 1, "<A></A>");
    return pdasim::test::request("8001", 1, "<A>" + std::string(size - empty.size(), 'x') + "</A>");
}

TEST(Assembler, TakesAMessageInOnePieceOrInPackets) {
    for (const std::size_t size : {130U, 191U, 192U, 193U, 4096U}) {
        const std::string message = messageOf(size);
        ASSERT_EQ(message.size(), size);
        for (const std::size_t piece : {kPacket, 2 * kPacket, std::size_t(16384)}) {
            MessageAssembler assembler(kPacket);
            EXPECT_EQ(assemble(assembler, message, piece), std::vector<std::string>{message})
                << size << " in pieces of " << piece;
            EXPECT_EQ(assembler.pending(), 0U);
        }
    }
}

TEST(Assembler, EndsAMessageAtAShortPacket) {
    MessageAssembler assembler(kPacket);
    const std::string cut = messageOf(200).substr(0, 100);
    EXPECT_EQ(assembler.add(cut.substr(0, kPacket)), std::nullopt);
    EXPECT_EQ(assembler.pending(), kPacket);
    EXPECT_EQ(assembler.add(cut.substr(kPacket)), cut);
}

TEST(Assembler, KeepsWhatComesBehindTheEndInTheSamePiece) {
    MessageAssembler assembler(kPacket);
    const std::string message = messageOf(130) + std::string(62, 'x');
    EXPECT_EQ(assembler.add(message), message);
}

TEST(Assembler, WaitsForNothingWithoutALength) {
    MessageAssembler assembler(kPacket);
    for (const std::string& text : {std::string(kPacket, 'x'), "12345x" + std::string(kPacket - 6, '0'),
                                    "-00012" + std::string(kPacket - 6, '0')}) {
        EXPECT_EQ(assembler.add(text), text);
    }
    EXPECT_EQ(assembler.add("123"), "123");
}

TEST(Assembler, AnEmptyPieceSaysNothing) {
    MessageAssembler assembler(kPacket);
    EXPECT_EQ(assembler.add(""), std::nullopt);
    const std::string message = messageOf(128);
    EXPECT_EQ(assembler.add(message.substr(0, kPacket)), std::nullopt);
    EXPECT_EQ(assembler.add(""), std::nullopt);
    EXPECT_EQ(assembler.add(message.substr(kPacket)), message);
}

/// The length counts characters, and a packet may end inside of one.
TEST(Assembler, CountsCharactersOfSeveralBytes) {
    for (const std::string character : {"\xC3\xA4", "\xE4\xB8\xAD", "\xF0\x9F\x94\x91"}) {
        for (int shift = 0; shift < 4; ++shift) {
            std::string label(static_cast<std::size_t>(shift), 'x');
            for (int i = 0; i < 100; ++i) {
                label += character;
            }
            const std::string message = pdasim::test::request("8001", 1, "<A>" + label + "</A>");
            MessageAssembler assembler(kPacket);
            EXPECT_EQ(assemble(assembler, message, kPacket), std::vector<std::string>{message})
                << character << " " << shift;
        }
    }
}

TEST(Assembler, GivesWhatItHasGathered) {
    MessageAssembler assembler(kPacket);
    const std::string message = messageOf(200);
    EXPECT_EQ(assembler.add(message.substr(0, kPacket)), std::nullopt);
    EXPECT_EQ(assembler.take(), message.substr(0, kPacket));
    EXPECT_EQ(assemble(assembler, message, kPacket), std::vector<std::string>{message});
}

} // namespace
