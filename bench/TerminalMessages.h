#pragma once

#include <string>
#include <string_view>

namespace pdalink::bench {

/** The message that asks the terminal who it is, as the library sends it for 600002. */
std::string informationRequest(int sequence);

/** A terminal's answer to it. */
std::string informationReply();

/** The length that a message's header announces; 0 while the header's first field is not there yet. */
std::size_t announcedLength(std::string_view message);

} // namespace pdalink::bench
