#include "log/Filter.h"

#include "Failure.h"

#include <algorithm>

namespace pdactl::log {

namespace {

constexpr std::size_t kResultCodeLength = 6;

bool isNumber(const std::string& text) {
    const std::size_t digits = text.find_first_not_of('-') == 1 ? 1 : 0;
    return text.size() > digits && text.find_first_not_of("0123456789", digits) == std::string::npos;
}

bool isKnownCode(const std::string& code) {
    const std::vector<Transaction>& all = allTransactions();
    const auto isIt = [&](const Transaction& each) {
        return each.code == code || each.member == code || each.type == code;
    };
    return isTerminalType(code) || std::any_of(all.begin(), all.end(), isIt);
}

bool isOutcome(const std::string& word) {
    return std::any_of(allOutcomes().begin(), allOutcomes().end(),
                       [&](Outcome outcome) { return nameOf(outcome) == word; });
}

bool hasCode(const Exchange& exchange, const std::string& code) {
    return exchange.code == code || exchange.type == code ||
           (exchange.member != nullptr && exchange.member->member == code);
}

bool hasResult(const Exchange& exchange, const std::string& result) {
    return nameOf(exchange.outcome) == result || exchange.resultCode == result ||
           (exchange.result && std::to_string(*exchange.result) == result);
}

Moment momentOf(const std::string& text) {
    const std::optional<Moment> moment = parseMoment(text);
    if (!moment) {
        throw Failure(BadUsage,
                      "'" + text +
                          "' is not a time. Write 2026-01-02, 2026-01-02T03:04, 2026-01-02T03:04:05 or "
                          "2026-01-02T03:04:05.678, on the clock of the log's machine.");
    }
    return *moment;
}

template <typename Test>
bool matchesAny(const std::vector<std::string>& wanted, Test test) {
    return wanted.empty() || std::any_of(wanted.begin(), wanted.end(), test);
}

std::string outcomeNames() {
    std::string names;
    for (const Outcome outcome : allOutcomes()) {
        names.append(names.empty() ? "" : ", ").append(nameOf(outcome));
    }
    return names;
}

} // namespace

void Filter::setCodes(const std::vector<std::string>& codes) {
    for (const std::string& code : codes) {
        if (!isKnownCode(code)) {
            throw Failure(BadUsage,
                          "'" + code +
                              "' is not a transaction. Give a code such as 600002, a member such as "
                              "GetInfo, or a message type such as 8001.");
        }
    }
    m_codes = codes;
}

void Filter::setResults(const std::vector<std::string>& results) {
    const auto isKnown = [](const std::string& result) {
        return isOutcome(result) ||
               (isNumber(result) && (result.size() < 3 || result.size() == kResultCodeLength));
    };
    const auto unknown = std::find_if_not(results.begin(), results.end(), isKnown);
    if (unknown != results.end()) {
        throw Failure(BadUsage, "'" + *unknown + "' is not a result. Give one of " + outcomeNames() +
                                    ", the library's number, or the terminal's six digits.");
    }
    m_results = results;
}

void Filter::setSince(const std::string& moment) {
    m_since = momentOf(moment).first;
    requireOrder();
}

void Filter::setUntil(const std::string& moment) {
    m_until = momentOf(moment).last;
    requireOrder();
}

void Filter::requireOrder() const {
    if (m_since && m_until && *m_since > *m_until) {
        throw Failure(BadUsage, "--since is later than --until, so nothing is between them. Swap them.");
    }
}

bool Filter::matches(const Exchange& exchange) const {
    return (!m_isOnlyFailed || exchange.failed()) && (!m_since || exchange.begin >= *m_since) &&
           (!m_until || exchange.begin <= *m_until) &&
           matchesAny(m_codes, [&](const std::string& code) { return hasCode(exchange, code); }) &&
           matchesAny(m_results, [&](const std::string& result) { return hasResult(exchange, result); });
}

} // namespace pdactl::log
