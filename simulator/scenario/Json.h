#pragma once

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace pdasim {

/// What is read: finds a member of many quickly.
using Json = nlohmann::json;
/// What is written: members keep their order.
using Document = nlohmann::ordered_json;

/// The text is not JSON, or not the JSON that was expected; the message tells where.
class JsonError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Duplicate members are errors, too, as are more than a hundred nested brackets.
Json parseJson(std::string_view text);

/// Strings that are not UTF-8 are written with their odd bytes as \xNN.
std::string writeJson(const Document& document, int indent = -1);

/// Any number without a fraction, 1.0 included, that fits.
std::optional<std::int64_t> integerIn(const Json& value);

/// The time that a member of an object gives; nothing without the member.
std::optional<std::chrono::milliseconds> millisecondsIn(const Json& object, const char* member);

} // namespace pdasim
