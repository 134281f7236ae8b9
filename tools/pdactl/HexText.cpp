#include "HexText.h"

#include <algorithm>

namespace pdactl {

namespace {

constexpr char Digits[] = "0123456789abcdef";

unsigned int valueOf(char digit) {
    if (digit <= '9') {
        return static_cast<unsigned int>(digit - '0');
    }
    return static_cast<unsigned int>((digit | 0x20) - 'a') + 10U;
}

bool isDigit(char character) {
    return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f') ||
           (character >= 'A' && character <= 'F');
}

} // namespace

std::string toHex(std::string_view bytes) {
    std::string text;
    text.reserve(2 * bytes.size());
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += Digits[value / 16U];
        text += Digits[value % 16U];
    }
    return text;
}

bool isHex(std::string_view text) {
    return text.size() % 2 == 0 && std::all_of(text.begin(), text.end(), isDigit);
}

std::string fromHex(std::string_view text) {
    std::string bytes;
    bytes.reserve(text.size() / 2);
    for (std::size_t i = 0; i < text.size(); i += 2) {
        bytes += static_cast<char>(valueOf(text[i]) * 16U + valueOf(text[i + 1]));
    }
    return bytes;
}

} // namespace pdactl
