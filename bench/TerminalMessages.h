#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace pdalink::bench {

/// The digits in a whole packet of a file.
constexpr std::size_t kPacketLength = 3000;

/// The message that asks the terminal who it is, as the library sends it for 600002.
std::string informationRequest(int sequence);

/// A whole packet of digits 0, as the library sends it for 600015.
std::string filePacket(int sequence, int packets, int index);

/// What a terminal that agrees to everything answers to a message.
std::string replyTo(std::string_view request);

/// The length that a message's header announces; 0 while the header's first field is not there yet.
std::size_t announcedLength(std::string_view message);

} // namespace pdalink::bench
