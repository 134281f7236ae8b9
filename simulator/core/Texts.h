#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pdasim {

/// The number that the text is, if it is written as "%d" writes it.
std::optional<std::int32_t> decimalNumber(std::string_view text);

/// The number at the start of a text after blanks and a sign, limited to 32 bits; 0 when there is none.
std::int32_t leadingNumber(std::string_view text);

/// Several values in one text, each followed by ";".
std::string listText(const std::vector<std::string>& values);
/// The values of such a text. Empty ones and what is not followed by ";" do not count.
std::vector<std::string> listValues(std::string_view text);

/// The bytes as quoted printable text, cut when they are many.
std::string quoted(std::string_view bytes);

/// A file travels as text of two digits a byte, cut into packets of this size.
constexpr std::size_t kPacketSize = 3000;

/// CRC-16/XMODEM.
std::uint16_t crcXmodem(std::string_view bytes);

/// The four digits that protect a packet's text.
///
/// They are computed over half as many bytes as the text has characters. The first pair of characters that
/// are not digits ends the decoding; the bytes from there on count as zeros.
std::string hexCheck(std::string_view packetText);

} // namespace pdasim
