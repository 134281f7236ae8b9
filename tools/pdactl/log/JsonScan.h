#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pdactl::log {

/// The text with JSON's escapes resolved wherever they are; what is not an escape stays.
std::string unescaped(std::string_view text);

/// A value somewhere in JSON.
struct JsonValue {
    enum class Type { String, Word, Container };

    Type type;
    std::string name;  ///< of the member that it belongs to, escapes resolved; empty in a list
    std::size_t begin; ///< inside its quotes, if it is a string
    std::size_t end;
    int depth; ///< 1 in the root object
};

struct Json {
    std::vector<JsonValue> values; ///< a container before what it holds; as far as the text can be read
    bool isObject = false;         ///< one whole object, as far as brackets, names and separators tell
};

Json readJson(std::string_view text);

/// The names in the root object, each as often as it has a member of that name; nothing when the text is not
/// one whole object.
std::optional<std::vector<std::string>> rootNames(std::string_view json);

/// The string or number that the root object has under this name; the first, as far as the text can be read.
std::optional<std::string> rootMember(std::string_view json, std::string_view name);

} // namespace pdactl::log
