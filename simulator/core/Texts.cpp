#include "core/Texts.h"

#include "core/Message.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace pdasim {

std::optional<std::int32_t> decimalNumber(std::string_view text) {
    std::int32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole && std::to_string(value) == text ? std::optional(value) : std::nullopt;
}

std::int32_t leadingNumber(std::string_view text) {
    using Limits = std::numeric_limits<std::int32_t>;
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    const bool negative = !text.empty() && text.front() == '-';
    if (negative || (!text.empty() && text.front() == '+')) {
        text.remove_prefix(1);
    }
    std::int64_t value = 0;
    for (const char digit : text) {
        if (digit < '0' || digit > '9') {
            break;
        }
        value = std::min<std::int64_t>(value * 10 + (digit - '0'), Limits::max() + std::int64_t{1});
    }
    value = negative ? -value : std::min<std::int64_t>(value, Limits::max());
    return static_cast<std::int32_t>(value);
}

std::string listText(const std::vector<std::string>& values) {
    std::string text;
    for (const std::string& value : values) {
        text.append(value).append(";");
    }
    return text;
}

std::vector<std::string> listValues(std::string_view text) {
    std::vector<std::string> values;
    for (std::size_t end = text.find(';'); end != std::string_view::npos; end = text.find(';')) {
        if (end > 0) {
            values.emplace_back(text.substr(0, end));
        }
        text.remove_prefix(end + 1);
    }
    return values;
}

std::string quoted(std::string_view bytes) {
    constexpr std::size_t kShown = 80;
    std::string text = "\"" + printable(bytes.substr(0, kShown)) + "\"";
    return bytes.size() > kShown ? text + "..." : text;
}

} // namespace pdasim
