#include "log/Report.h"

#include <algorithm>
#include <utility>

namespace pdactl::log {

namespace {

void addCount(std::vector<std::string>& remarks, int count, const char* one, const char* several) {
    if (count > 0) {
        remarks.push_back(std::to_string(count) + " " + (count == 1 ? one : several));
    }
}

/** The value that this share of the sorted values does not exceed. */
Time percentile(const std::vector<Time>& sorted, std::size_t percent) {
    const std::size_t rank = (sorted.size() * percent + 99) / 100;
    return sorted[std::max<std::size_t>(rank, 1) - 1];
}

} // namespace

std::string callOf(const Exchange& exchange) {
    if (exchange.method != nullptr) {
        return std::string(exchange.method->name);
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
    addCount(remarks, exchange.waitsInVain, "wait in vain", "waits in vain");
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

} // namespace pdactl::log
