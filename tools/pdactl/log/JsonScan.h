#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pdactl::log {

/// A text and where each of its bytes came from.
struct DecodedText {
    std::string text;
    std::vector<std::size_t> origins; ///< one more than the text has bytes
};

/// The text with JSON's escapes resolved wherever they are; what is not an escape stays.
DecodedText decoded(std::string_view text);
std::string unescaped(std::string_view text);

/// The names in the root object, each as often as it has a member of that name; nothing when the text is not
/// one whole object, as far as brackets, names and separators tell.
std::optional<std::vector<std::string>> rootNames(std::string_view json);

/// The string or number that the root object has under this name; the first, as far as the text can be read.
std::optional<std::string> rootMember(std::string_view json, std::string_view name);

} // namespace pdactl::log
