#include "log/Exchange.h"

#include "log/JsonScan.h"

#include <algorithm>
#include <cstdlib>
#include <tuple>

namespace pdactl::log {

namespace {

constexpr std::string_view kNoData = "000060";
constexpr std::string_view kSendType = "8015";
constexpr std::string_view kFetchType = "8016";

/// A transfer of a file, whose packets are exchanges of their own, is answered only when the last one is, and
/// silent once the waits of a whole fetch have been spent.
Progress progressOfTransfer(const Exchange& exchange, Progress progress) {
    constexpr int kWaitBudget = 3;
    const bool isFetch = exchange.type == kFetchType;
    const std::string_view reply = exchange.received;
    const bool isMissingPackets =
        isFetch
            ? tagValue(reply, "Ex_RetCode") == kAccepted &&
                  numberIn(reply, "Ex_CurPkt") + 1 != numberIn(reply, "Ex_TotalPkt")
            : exchange.type == kSendType && exchange.messagesSent < numberIn(exchange.sent, "Ex_TotalPkt");
    if (progress == Progress::Answered && isMissingPackets) {
        return Progress::Begun;
    }
    const bool isWaiting = progress == Progress::Begun || progress == Progress::Sent;
    return isFetch && isWaiting && exchange.timeouts >= kWaitBudget ? Progress::Silent : progress;
}

Outcome answered(const Exchange& exchange) {
    return exchange.resultCode.empty() || exchange.resultCode == kAccepted ? Outcome::Done
                                                                           : Outcome::TerminalRefused;
}

Outcome ofProgress(const Exchange& exchange, Progress progress) {
    switch (progressOfTransfer(exchange, progress)) {
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

Outcome ofResult(const Exchange& exchange, int result) {
    if (exchange.member != nullptr && exchange.member->results == Results::Teller) {
        return result == 1                      ? answered(exchange)
               : exchange.resultCode == kNoData ? Outcome::NoReply
                                                : Outcome::NotSent;
    }
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

} // namespace

std::string_view Exchange::originName() const {
    return origin == Origin::Request ? "request" : origin == Origin::Direct ? "direct call" : "terminal";
}

std::string Exchange::call() const {
    return member != nullptr ? member->member : type.empty() ? "?" : "message " + type;
}

void putInOrder(std::vector<Exchange>& exchanges, std::optional<Time>& end) {
    std::stable_sort(exchanges.begin(), exchanges.end(), [](const Exchange& left, const Exchange& right) {
        return std::tie(left.begin, left.number) < std::tie(right.begin, right.number);
    });
    for (Exchange& exchange : exchanges) {
        exchange.gap = end ? std::optional(std::max<Time>(exchange.begin - *end, 0)) : std::nullopt;
        end = end ? std::max(*end, exchange.end) : exchange.end;
    }
}

std::string_view tagValue(std::string_view message, std::string_view tag) {
    const std::string opening = "<" + std::string(tag) + ">";
    const std::string closing = "</" + std::string(tag) + ">";
    const std::size_t begin = message.find(opening);
    const std::size_t value = begin + opening.size();
    const std::size_t end =
        begin == std::string_view::npos ? std::string_view::npos : message.find(closing, value);
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

void judge(Exchange& exchange, Progress progress, bool isRefused) {
    if (const auto member = rootMember(exchange.response, "pRetCode"); member && !member->empty()) {
        exchange.resultCode = *member;
    } else if (exchange.origin != Origin::Terminal) {
        exchange.resultCode = tagValue(exchange.received, "Ex_RetCode");
    }
    if (isRefused) {
        exchange.outcome = Outcome::RequestRefused;
    } else if (exchange.result) {
        exchange.outcome = ofResult(exchange, *exchange.result);
    } else if (exchange.origin == Origin::Request) {
        exchange.outcome = Outcome::Unfinished;
    } else {
        exchange.outcome = exchange.told && exchange.origin == Origin::Direct
                               ? *exchange.told
                               : ofProgress(exchange, progress);
    }
}

} // namespace pdactl::log
