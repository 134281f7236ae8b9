#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace pdactl::log {

/** What stands for a masked value. */
constexpr std::string_view Mask = "***";

/** Part of a text. */
struct Range {
    std::size_t begin;
    std::size_t end;
};

/** The secrets of one entry's text. */
struct Secrets {
    std::vector<Range> values; ///< empty ones left out; they may overlap
    /** The tag whose value runs to the end of the text; the last such. */
    std::string openTag;
    /** Whether a JSON value does. */
    bool hasOpenMember = false;
};

/**
 * The values of secret tags and JSON members, however escaped, nested or damaged the text is. A value without
 * an end reaches to the end of the text.
 */
Secrets findSecrets(std::string_view text);

/** Where this tag is closed before it is opened; npos when it is opened first, or not named at all. */
std::size_t closingBeforeOpening(std::string_view text, std::string_view tag, bool& isOpened);

} // namespace pdactl::log
