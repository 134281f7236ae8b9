#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pdactl::log {

/** A text and where each of its bytes came from. */
struct DecodedText {
    std::string text;
    std::vector<std::size_t> origins; ///< one more than the text has bytes
};

/** The text with JSON's escapes resolved wherever they stand; what is no escape stays. */
DecodedText decoded(std::string_view text);
std::string unescaped(std::string_view text);

/** The text as the inside of a JSON string: invalid UTF-8 replaced, control characters escaped. */
std::string escaped(std::string_view text);
/** With its quotes. */
std::string quoted(std::string_view text);

/** Valid UTF-8 without control characters, on one line, for people. */
std::string printable(std::string_view text);

/** Whether the text is one whole object, as far as brackets, names and separators tell. */
bool isObject(std::string_view json);

/** The string or number that the root object has under this name; the first, as far as the text can be read.
 */
std::optional<std::string> rootMember(std::string_view json, std::string_view name);

} // namespace pdactl::log
