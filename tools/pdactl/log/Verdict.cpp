#include "log/Verdict.h"

#include "log/JsonText.h"

namespace pdactl::log {

namespace {

constexpr std::string_view Agreed = "000000";
constexpr std::string_view NoData = "000060";

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

} // namespace

void judge(Exchange& exchange, Progress progress, bool isRefused) {
    if (const auto member = rootMember(exchange.response, "pRetCode"); member && !member->empty()) {
        exchange.verdict = *member;
    } else if (exchange.origin != Origin::Terminal) {
        exchange.verdict = tagValue(exchange.received, "Ex_RetCode");
    }
    if (isRefused) {
        exchange.outcome = Outcome::RequestRefused;
    } else if (!exchange.result) {
        exchange.outcome = ofProgress(exchange, progress);
    } else if (exchange.method != nullptr && exchange.method->isTeller) {
        exchange.outcome = ofTeller(exchange, *exchange.result);
    } else {
        exchange.outcome = ofResult(exchange, *exchange.result);
    }
}

} // namespace pdactl::log
