#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace pdasim {

/// A file travels as text of two digits a byte, cut into packets of so many characters.
constexpr std::size_t PacketSize = 3000;

/// CRC-16/XMODEM.
std::uint16_t crcXmodem(std::string_view bytes);

/// The four digits that protect a packet's text.
///
/// They are computed over half as many bytes as the text has characters. The first pair of characters that
/// are no digits ends the decoding; the bytes from there on count as zeros.
std::string hexCheck(std::string_view packetText);

} // namespace pdasim
