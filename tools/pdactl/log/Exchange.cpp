#include "log/Exchange.h"

#include "log/JsonScan.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <tuple>

namespace pdactl::log {

namespace {

// In the order of the outcomes.
constexpr std::array<std::string_view, 9> kOutcomeNames{
    "done",      "request-refused",  "terminal-refused", "no-reply", "not-sent", "transfer-refused",
    "too-short", "internal-failure", "unfinished",
};
constexpr std::string_view kNoData = "000060";
constexpr std::string_view kSendType = "8015";
constexpr std::string_view kFetchType = "8016";

Outcome answered(const Exchange& exchange) {
    return exchange.resultCode.empty() || exchange.resultCode == kAccepted ? Outcome::Done
                                                                           : Outcome::TerminalRefused;
}

Outcome ofTeller(const Exchange& exchange, int result) {
    if (result == 1) {
        return answered(exchange);
    }
    return exchange.resultCode == kNoData ? Outcome::NoReply : Outcome::NotSent;
}

Outcome ofResult(const Exchange& exchange, int result) {
    switch (result) {
    case 0:
        return answered(exchange);
    case -1:
        return Outcome::NotSent;
    case 2:
        return Outcome::NoReply;
    case 5:
        return Outcome::TooShort;
    case 6:
        return Outcome::TransferRefused;
    default:
        return Outcome::InternalFailure;
    }
}

Outcome ofProgress(const Exchange& exchange, Progress progress) {
    switch (progress) {
    case Progress::Answered:
        return answered(exchange);
    case Progress::Silent:
        return Outcome::NoReply;
    case Progress::NotSent:
        return Outcome::NotSent;
    case Progress::Finished:
        return Outcome::Done;
    default:
        return Outcome::Unfinished;
    }
}

} // namespace

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
    return kOutcomeNames.at(static_cast<std::size_t>(outcome));
}

const std::vector<Outcome>& allOutcomes() {
    static const std::vector<Outcome> outcomes = [] {
        std::vector<Outcome> all;
        for (std::size_t i = 0; i < kOutcomeNames.size(); ++i) {
            all.push_back(static_cast<Outcome>(i));
        }
        return all;
    }();
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

long numberIn(std::string_view message, std::string_view tag) {
    return std::strtol(std::string(tagValue(message, tag)).c_str(), nullptr, 10);
}

std::string_view typeOf(std::string_view message) {
    constexpr std::size_t kLengthDigits = 6;
    constexpr std::size_t kTypeDigits = 4;
    return message.size() > kLengthDigits ? message.substr(kLengthDigits, kTypeDigits) : std::string_view();
}

bool isUsableReply(std::string_view message) {
    constexpr long kMaxPackets = 200000;
    const long packet = numberIn(message, "Ex_CurPkt");
    return typeOf(message) != kFetchType || tagValue(message, "Ex_RetCode") != kAccepted ||
           (packet >= 0 && packet < kMaxPackets);
}

Progress progressOfTransfer(const Exchange& exchange, Progress progress) {
    constexpr int kWaitBudget = 3;
    if (exchange.type == kFetchType && progress == Progress::Begun && exchange.timeouts >= kWaitBudget) {
        return Progress::Silent;
    }
    if (progress != Progress::Answered) {
        return progress;
    }
    const std::string_view reply = exchange.received;
    const bool isMissingPackets =
        exchange.type == kFetchType ? tagValue(reply, "Ex_RetCode") == kAccepted &&
                                          numberIn(reply, "Ex_CurPkt") + 1 != numberIn(reply, "Ex_TotalPkt")
        : exchange.type == kSendType ? exchange.messagesSent < numberIn(exchange.sent, "Ex_TotalPkt")
                                     : false;
    return isMissingPackets ? Progress::Begun : progress;
}

void judge(Exchange& exchange, Progress progress, bool isRefused) {
    if (const auto member = rootMember(exchange.response, "pRetCode"); member && !member->empty()) {
        exchange.resultCode = *member;
    } else if (exchange.origin != Origin::Terminal) {
        exchange.resultCode = tagValue(exchange.received, "Ex_RetCode");
    }
    if (isRefused) {
        exchange.outcome = Outcome::RequestRefused;
    } else if (!exchange.result && exchange.told && exchange.origin == Origin::Direct) {
        exchange.outcome = *exchange.told;
    } else if (!exchange.result) {
        exchange.outcome = ofProgress(exchange, progress);
    } else if (exchange.member != nullptr && exchange.member->results == Results::Teller) {
        exchange.outcome = ofTeller(exchange, *exchange.result);
    } else {
        exchange.outcome = ofResult(exchange, *exchange.result);
    }
}

} // namespace pdactl::log
