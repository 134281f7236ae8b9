#pragma once

#include <string>
#include <string_view>

namespace pdasim {

enum class Sender { Host, Terminal };

/// A message as one line for people: type, name, size, then the tags as name=value.
///
/// What does not look like a message is shown as printable text.
std::string describeMessage(std::string_view bytes, Sender sender);

} // namespace pdasim
