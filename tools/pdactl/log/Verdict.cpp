#include "log/Verdict.h"

#include "log/JsonText.h"

#include <cstdlib>

namespace pdactl::log {

namespace {

constexpr std::string_view Agreed = "000000";
constexpr std::string_view NoData = "000060";
constexpr std::string_view SendType = "8015";
constexpr std::string_view FetchType = "8016";

Outcome answered(const Exchange& exchange) {
    return exchange.verdict.empty() || exchange.verdict == Agreed ? Outcome::Done : Outcome::TerminalRefused;
}

Outcome ofTeller(const Exchange& exchange, int result) {
    if (result == 1) {
        return answered(exchange);
    }
    return exchange.verdict == NoData ? Outcome::NoReply : Outcome::NotSent;
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

/** The number in a tag; 0 without one, as the library reads it. */
long numberIn(std::string_view message, std::string_view tag) {
    return std::strtol(std::string(tagValue(message, tag)).c_str(), nullptr, 10);
}

} // namespace

bool isUsableReply(std::string_view message) {
    constexpr long mostPackets = 200000;
    const long packet = numberIn(message, "Ex_CurPkt");
    return typeOf(message) != FetchType || tagValue(message, "Ex_RetCode") != Agreed ||
           (packet >= 0 && packet < mostPackets);
}

Progress progressOfTransfer(const Exchange& exchange, Progress progress) {
    constexpr int waitBudget = 3;
    if (exchange.type == FetchType && progress == Progress::Begun && exchange.waitsInVain >= waitBudget) {
        return Progress::Silent;
    }
    if (progress != Progress::Answered) {
        return progress;
    }
    const std::string_view reply = exchange.received;
    const bool isMissingPackets =
        exchange.type == FetchType ? tagValue(reply, "Ex_RetCode") == Agreed &&
                                         numberIn(reply, "Ex_CurPkt") + 1 != numberIn(reply, "Ex_TotalPkt")
        : exchange.type == SendType ? exchange.messagesSent < numberIn(exchange.sent, "Ex_TotalPkt")
                                    : false;
    return isMissingPackets ? Progress::Begun : progress;
}

void judge(Exchange& exchange, Progress progress, bool isRefused) {
    if (const auto member = rootMember(exchange.response, "pRetCode"); member && !member->empty()) {
        exchange.verdict = *member;
    } else if (exchange.origin != Origin::Terminal) {
        exchange.verdict = tagValue(exchange.received, "Ex_RetCode");
    }
    if (isRefused) {
        exchange.outcome = Outcome::RequestRefused;
    } else if (!exchange.result && exchange.told && exchange.origin == Origin::Direct) {
        exchange.outcome = *exchange.told;
    } else if (!exchange.result) {
        exchange.outcome = ofProgress(exchange, progress);
    } else if (exchange.method != nullptr && exchange.method->isTeller) {
        exchange.outcome = ofTeller(exchange, *exchange.result);
    } else {
        exchange.outcome = ofResult(exchange, *exchange.result);
    }
}

} // namespace pdactl::log
