#include "log/Exchange.h"

#include <algorithm>
#include <tuple>

namespace pdactl::log {

std::string_view nameOf(Origin origin) {
    switch (origin) {
    case Origin::Request:
        return "request";
    case Origin::Direct:
        return "direct call";
    default:
        return "terminal";
    }
}

std::string_view nameOf(Outcome outcome) {
    switch (outcome) {
    case Outcome::Done:
        return "done";
    case Outcome::RequestRefused:
        return "request-refused";
    case Outcome::TerminalRefused:
        return "terminal-refused";
    case Outcome::NoReply:
        return "no-reply";
    case Outcome::NotSent:
        return "not-sent";
    case Outcome::TransferRefused:
        return "transfer-refused";
    case Outcome::TooShort:
        return "too-short";
    case Outcome::InternalFailure:
        return "internal-failure";
    default:
        return "unfinished";
    }
}

const std::vector<Outcome>& allOutcomes() {
    static const std::vector<Outcome> outcomes{
        Outcome::Done,     Outcome::RequestRefused,  Outcome::TerminalRefused,
        Outcome::NoReply,  Outcome::NotSent,         Outcome::TransferRefused,
        Outcome::TooShort, Outcome::InternalFailure, Outcome::Unfinished,
    };
    return outcomes;
}

bool isEarlier(const Exchange& left, const Exchange& right) {
    return std::tie(left.begin, left.number) < std::tie(right.begin, right.number);
}

void putInOrder(std::vector<Exchange>& exchanges) {
    std::stable_sort(exchanges.begin(), exchanges.end(), isEarlier);
    std::optional<Time> end;
    for (Exchange& exchange : exchanges) {
        exchange.gap = end ? std::optional(std::max<Time>(exchange.begin - *end, 0)) : std::nullopt;
        end = end ? std::max(*end, exchange.end) : exchange.end;
    }
}

std::string_view tagValue(std::string_view message, std::string_view tag) {
    const std::string opening = "<" + std::string(tag) + ">";
    const std::string closing = "</" + std::string(tag) + ">";
    const std::size_t begin = message.find(opening);
    if (begin == std::string_view::npos) {
        return {};
    }
    const std::size_t value = begin + opening.size();
    const std::size_t end = message.find(closing, value);
    return end == std::string_view::npos ? std::string_view() : message.substr(value, end - value);
}

std::string_view typeOf(std::string_view message) {
    constexpr std::size_t lengthDigits = 6;
    constexpr std::size_t typeDigits = 4;
    return message.size() > lengthDigits ? message.substr(lengthDigits, typeDigits) : std::string_view();
}

} // namespace pdactl::log
