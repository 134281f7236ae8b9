#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace pdactl::log {

/// What stands for a masked value.
constexpr std::string_view kMask = "***";

/// Part of a text.
struct Range {
    std::size_t begin;
    std::size_t end;
};

/// The secrets of one entry's text.
struct Secrets {
    std::vector<Range> values; ///< empty ones left out; they may overlap
    std::string openTag;       ///< the outermost tag whose value runs to the end of the text, in lower case
};

/// The values of secret tags and JSON members, however escaped, nested or damaged the text is. A value
/// without an end reaches to the end of the text.
Secrets findSecrets(std::string_view text);

} // namespace pdactl::log
