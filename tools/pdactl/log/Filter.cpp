#include "log/Filter.h"

#include "Failure.h"

#include <algorithm>

namespace pdactl::log {

namespace {

bool isKnownCode(const std::string& code) {
    const std::vector<Transaction>& all = allTransactions();
    return isTerminalType(code) || std::any_of(all.begin(), all.end(), [&](const Transaction& each) {
               return each.code == code || each.member == code || each.type == code;
           });
}

bool isKnownResult(const std::string& result) {
    constexpr std::size_t kResultCodeLength = 6;
    const std::size_t sign = result.substr(0, 1) == "-" ? 1 : 0;
    const bool isNumber =
        result.size() > sign && result.find_first_not_of("0123456789", sign) == std::string::npos;
    return std::find(kOutcomeNames.begin(), kOutcomeNames.end(), result) != kOutcomeNames.end() ||
           (isNumber && (result.size() < 3 || result.size() == kResultCodeLength));
}

std::string outcomeNames() {
    std::string names;
    for (const std::string_view name : kOutcomeNames) {
        names.append(names.empty() ? "" : ", ").append(name);
    }
    return names;
}

std::optional<Moment> momentOf(const std::string& text) {
    const std::optional<Moment> moment = parseMoment(text);
    if (!moment && !text.empty()) {
        throw Failure(BadUsage,
                      "'" + text +
                          "' is not a time. Write 2026-01-02, 2026-01-02T03:04, 2026-01-02T03:04:05 or "
                          "2026-01-02T03:04:05.678, on the clock of the log's machine.");
    }
    return moment;
}

} // namespace

void Filter::check() {
    for (const std::string& code : codes) {
        if (!isKnownCode(code)) {
            throw Failure(BadUsage,
                          "'" + code +
                              "' is not a transaction. Give a code such as 600002, a member such as "
                              "GetInfo, or a message type such as 8001.");
        }
    }
    for (const std::string& result : results) {
        if (!isKnownResult(result)) {
            throw Failure(BadUsage, "'" + result + "' is not a result. Give one of " + outcomeNames() +
                                        ", the library's number, or the terminal's six digits.");
        }
    }
    first = momentOf(since);
    last = momentOf(until);
    if (first && last && first->first > last->last) {
        throw Failure(BadUsage, "--since is later than --until, so nothing is between them. Swap them.");
    }
}

bool Filter::matches(const Exchange& exchange) const {
    const auto isAny = [](const std::vector<std::string>& wanted, auto isIt) {
        return wanted.empty() || std::any_of(wanted.begin(), wanted.end(), isIt);
    };
    return (!isOnlyFailed || exchange.failed()) && (!first || exchange.begin >= first->first) &&
           (!last || exchange.begin <= last->last) &&
           isAny(codes,
                 [&](const std::string& code) {
                     return exchange.code == code || exchange.type == code ||
                            (exchange.member != nullptr && exchange.member->member == code);
                 }) &&
           isAny(results, [&](const std::string& result) {
               return exchange.outcomeName() == result || exchange.resultCode == result ||
                      (exchange.result && std::to_string(*exchange.result) == result);
           });
}

} // namespace pdactl::log
