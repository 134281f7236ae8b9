#include "core/HexPacket.h"

#include "core/Message.h"

#include <array>
#include <charconv>
#include <cstdio>

namespace pdasim {

std::uint16_t crcXmodem(std::string_view bytes) {
    constexpr std::uint32_t kPolynomial = 0x1021;
    std::uint32_t value = 0;
    for (const char character : bytes) {
        value ^= static_cast<std::uint32_t>(static_cast<unsigned char>(character)) << 8U;
        for (int bit = 0; bit < 8; ++bit) {
            value = (value & 0x8000U) != 0 ? (value << 1U) ^ kPolynomial : value << 1U;
        }
    }
    return static_cast<std::uint16_t>(value & 0xFFFFU);
}

std::string hexCheck(std::string_view packetText) {
    std::string bytes(lengthInCharacters(packetText) / 2, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const std::string_view pair = packetText.substr(2 * i, 2);
        std::uint8_t byte = 0;
        const auto [end, error] = std::from_chars(pair.data(), pair.data() + pair.size(), byte, 16);
        if (error != std::errc() || end != pair.data() + pair.size()) {
            break;
        }
        bytes[i] = static_cast<char>(byte);
    }
    std::array<char, 8> text{};
    (void)std::snprintf(text.data(), text.size(), "%04x", crcXmodem(bytes));
    return text.data();
}

} // namespace pdasim
