#include "scenario/Json.h"

#include "core/Message.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <sstream>
#include <vector>

namespace pdasim {

namespace {

constexpr int kMaxDepth = 100;
/// Beyond it not every integer has a floating-point number of its own.
constexpr double kMaxExactDouble = 9007199254740992.0;

/// Refuses what the parser would let pass.
class StrictChecks {
public:
    StrictChecks(std::istream& input, std::string_view text) : m_input(input), m_text(text) {}

    bool operator()(int depth, Json::parse_event_t event, const Json& parsed) {
        switch (event) {
        case Json::parse_event_t::object_start:
            m_names.emplace_back();
            [[fallthrough]];
        case Json::parse_event_t::array_start:
            if (depth >= kMaxDepth) {
                refuse("more than " + std::to_string(kMaxDepth) + " brackets are open");
            }
            break;
        case Json::parse_event_t::key:
            if (!m_names.back().insert(parsed.get<std::string>()).second) {
                refuse(parsed.dump() + " appears twice");
            }
            break;
        case Json::parse_event_t::object_end:
            m_names.pop_back();
            break;
        default:
            break;
        }
        return true;
    }

private:
    [[noreturn]] void refuse(const std::string& reason) {
        const std::string_view read = m_text.substr(0, static_cast<std::size_t>(m_input.tellg()));
        throw JsonError("line " + std::to_string(std::count(read.begin(), read.end(), '\n') + 1) + ": " +
                        reason);
    }

    std::istream& m_input;
    std::string_view m_text;
    /// Of the open objects.
    std::vector<std::set<std::string>> m_names;
};

/// A string that is not UTF-8 cannot be written as JSON.
void makeWritable(Document& value) {
    if (value.is_structured()) {
        std::for_each(value.begin(), value.end(), makeWritable);
    } else if (value.is_string()) {
        try {
            (void)value.dump();
        } catch (const Document::type_error&) {
            value = printable(value.get_ref<const std::string&>());
        }
    }
}

} // namespace

Json parseJson(std::string_view text) {
    // The parser takes the one for the end and skips the other.
    if (text.find('\0') != std::string_view::npos || text.substr(0, 3) == "\xEF\xBB\xBF") {
        throw JsonError("a NUL byte or a byte order mark is in the text");
    }
    std::istringstream input{std::string(text)};
    try {
        return Json::parse(input, StrictChecks(input, text));
    } catch (const Json::exception& error) {
        const std::string reason = error.what();
        throw JsonError(reason.substr(reason.find(']') + 2));
    }
}

std::string writeJson(const Document& document, int indent) {
    try {
        return document.dump(indent);
    } catch (const Document::type_error&) {
        Document copy = document;
        makeWritable(copy);
        return copy.dump(indent);
    }
}

std::optional<std::int64_t> integerIn(const Json& value) {
    if (value.is_number_float()) {
        const auto number = value.get<double>();
        const bool isInteger = std::abs(number) <= kMaxExactDouble && std::trunc(number) == number;
        return isInteger ? std::optional(static_cast<std::int64_t>(number)) : std::nullopt;
    }
    const bool fits =
        value.is_number_integer() && (!value.is_number_unsigned() ||
                                      value.get<std::uint64_t>() <= std::numeric_limits<std::int64_t>::max());
    return fits ? std::optional(value.get<std::int64_t>()) : std::nullopt;
}

std::optional<std::chrono::milliseconds> millisecondsIn(const Json& object, const char* member) {
    const auto found = object.find(member);
    return found == object.end() ? std::nullopt
                                 : std::optional(std::chrono::milliseconds(found->get<std::int64_t>()));
}

} // namespace pdasim
