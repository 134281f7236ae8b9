#include "core/Texts.h"

#include "core/Message.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <limits>

namespace pdasim {

std::optional<std::int32_t> decimalNumber(std::string_view text) {
    std::int32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole && std::to_string(value) == text ? std::optional(value) : std::nullopt;
}

std::int32_t leadingNumber(std::string_view text) {
    using Limits = std::numeric_limits<std::int32_t>;
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    const bool negative = !text.empty() && text.front() == '-';
    if (negative || (!text.empty() && text.front() == '+')) {
        text.remove_prefix(1);
    }
    std::int64_t value = 0;
    for (const char digit : text) {
        if (digit < '0' || digit > '9') {
            break;
        }
        value = std::min<std::int64_t>(value * 10 + (digit - '0'), Limits::max() + std::int64_t{1});
    }
    value = negative ? -value : std::min<std::int64_t>(value, Limits::max());
    return static_cast<std::int32_t>(value);
}

std::string listText(const std::vector<std::string>& values) {
    std::string text;
    for (const std::string& value : values) {
        text.append(value).append(";");
    }
    return text;
}

std::vector<std::string> listValues(std::string_view text) {
    std::vector<std::string> values;
    for (std::size_t end = text.find(';'); end != std::string_view::npos; end = text.find(';')) {
        if (end > 0) {
            values.emplace_back(text.substr(0, end));
        }
        text.remove_prefix(end + 1);
    }
    return values;
}

std::string quoted(std::string_view bytes) {
    constexpr std::size_t kShown = 80;
    std::string text = "\"" + printable(bytes.substr(0, kShown)) + "\"";
    return bytes.size() > kShown ? text + "..." : text;
}

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
