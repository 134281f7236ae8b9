#include "log/StepLine.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace pdactl::log {

std::string_view begunMethod(std::string_view text) {
    constexpr std::string_view end = "] begin";
    if (text.size() <= end.size() || text.front() != '[' || text.substr(text.size() - end.size()) != end) {
        return {};
    }
    return text.substr(1, text.size() - end.size() - 1);
}

std::optional<int> resultOf(std::string_view text) {
    constexpr std::string_view label = " ret:";
    const std::size_t found = text.rfind(label);
    int result = 0;
    if (found == std::string_view::npos) {
        return {};
    }
    const std::string_view digits = text.substr(found + label.size());
    const bool isNumber =
        std::from_chars(digits.data(), digits.data() + digits.size(), result).ec == std::errc();
    return isNumber ? std::optional(result) : std::nullopt;
}

std::optional<Outcome> toldOutcome(std::string_view text) {
    struct Told {
        std::string_view beginning;
        Outcome outcome;
    };
    constexpr std::array<Told, 4> lines{{
        {"file is too short:", Outcome::TooShort},
        {"data send error. already send:", Outcome::TransferRefused},
        {"file transfer given up: more data", Outcome::InternalFailure},
        {"file transfer given up:", Outcome::NoReply},
    }};
    const auto line = std::find_if(lines.begin(), lines.end(), [&](const Told& told) {
        return text.substr(0, told.beginning.size()) == told.beginning;
    });
    return line != lines.end() ? std::optional(line->outcome) : std::nullopt;
}

bool isNoteworthy(const Entry& entry) {
    constexpr std::array<std::string_view, 8> beginnings{
        "info msg:",       "sendLen error",        "hid device is not open", "port open fail",
        "data send error", "pda return crc error", "file is too short",      "openHidDevice port: ",
    };
    const std::string_view text = entry.text;
    const bool isKnown = std::any_of(beginnings.begin(), beginnings.end(), [&](std::string_view beginning) {
        return text.substr(0, beginning.size()) == beginning;
    });
    constexpr std::string_view found = "openHidDevice port: /";
    return (isKnown && text.substr(0, found.size()) != found) || entry.level == Level::Warning ||
           entry.level == Level::Error;
}

} // namespace pdactl::log
