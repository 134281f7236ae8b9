#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace pdasim {

// What messages of a type, or of Terminal::AnyType, hold; each name once.

/** The tags of a host's message behind Ex_SeqNo, those of its locks included. */
std::vector<std::string> requestTagNames(std::string_view type);

/** The tags of the replies, those of their locks not included; none when the terminal does not answer. */
std::vector<std::string> replyTagNames(std::string_view type);

} // namespace pdasim
