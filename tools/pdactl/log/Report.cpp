#include "log/Report.h"

#include <QJsonArray>

#include <algorithm>
#include <map>
#include <utility>

namespace pdactl::log {

namespace {

void addCount(std::vector<std::string>& remarks, int count, const char* one, const char* several) {
    if (count > 0) {
        remarks.push_back(std::to_string(count) + " " + (count == 1 ? one : several));
    }
}

/// Invalid UTF-8 replaced.
QJsonValue json(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<int>(text.size()));
}

QJsonValue json(const std::vector<std::string>& texts) {
    QJsonArray array;
    for (const std::string& text : texts) {
        array.append(json(text));
    }
    return array;
}

/// The value that this share of the sorted values does not exceed.
Time percentile(const std::vector<Time>& sorted, std::size_t percent) {
    const std::size_t rank = (sorted.size() * percent + 99) / 100;
    return sorted[std::max<std::size_t>(rank, 1) - 1];
}

} // namespace

std::string callOf(const Exchange& exchange) {
    if (exchange.member != nullptr) {
        return exchange.member->member;
    }
    return exchange.type.empty() ? "?" : "message " + exchange.type;
}

std::vector<std::string> remarksOf(const Exchange& exchange) {
    std::vector<std::string> remarks;
    if (exchange.lacksBeginning) {
        remarks.emplace_back("beginning missing");
    }
    if (exchange.isInterleaved) {
        remarks.emplace_back("interleaved with another host");
    }
    if (exchange.messagesSent > 1) {
        remarks.push_back(std::to_string(exchange.messagesSent) + " messages sent");
    }
    addCount(remarks, exchange.timeouts, "timeout", "timeouts");
    addCount(remarks, exchange.wrongMessages, "wrong message", "wrong messages");
    addCount(remarks, exchange.failedWrites, "failed write", "failed writes");
    remarks.insert(remarks.end(), exchange.notes.begin(), exchange.notes.end());
    return remarks;
}

std::vector<Latency> latencies(const std::vector<Exchange>& exchanges) {
    std::map<std::pair<std::string, std::string>, std::vector<Time>> times;
    std::map<std::pair<std::string, std::string>, std::size_t> failures;
    for (const Exchange& exchange : exchanges) {
        const std::pair<std::string, std::string> kind(exchange.code, callOf(exchange));
        times[kind].push_back(exchange.duration());
        failures[kind] += exchange.failed() ? 1 : 0;
    }
    std::vector<Latency> result;
    for (auto& [kind, values] : times) {
        std::sort(values.begin(), values.end());
        result.push_back({kind.first, kind.second, values.size(), failures[kind], values.front(),
                          percentile(values, 50), percentile(values, 95), values.back()});
    }
    std::stable_partition(result.begin(), result.end(),
                          [](const Latency& kind) { return !kind.code.empty(); });
    return result;
}

QJsonObject jsonOf(const Exchange& exchange) {
    return {
        {"begin", json(formatTime(exchange.begin, 'T'))},
        {"took", static_cast<qint64>(exchange.duration())},
        {"gap", exchange.gap ? QJsonValue(static_cast<qint64>(*exchange.gap)) : QJsonValue()},
        {"origin", json(nameOf(exchange.origin))},
        {"code", json(exchange.code)},
        {"call", json(callOf(exchange))},
        {"type", json(exchange.type)},
        {"outcome", json(nameOf(exchange.outcome))},
        {"result", exchange.result ? QJsonValue(*exchange.result) : QJsonValue()},
        {"resultCode", json(exchange.resultCode)},
        {"request", json(exchange.request)},
        {"sent", json(exchange.sent)},
        {"received", json(exchange.received)},
        {"response", json(exchange.response)},
        {"messagesSent", exchange.messagesSent},
        {"messagesReceived", exchange.messagesReceived},
        {"timeouts", exchange.timeouts},
        {"wrongMessages", exchange.wrongMessages},
        {"failedWrites", exchange.failedWrites},
        {"lacksBeginning", exchange.lacksBeginning},
        {"isInterleaved", exchange.isInterleaved},
        {"notes", json(exchange.notes)},
    };
}

QJsonObject jsonOf(const Report& report) {
    QJsonArray exchanges;
    for (const Exchange& exchange : report.exchanges) {
        exchanges.append(jsonOf(exchange));
    }
    return {{"files", json(report.files)},
            {"gaps", json(report.gaps)},
            {"redacted", report.isRedacted},
            {"exchanges", exchanges}};
}

} // namespace pdactl::log
