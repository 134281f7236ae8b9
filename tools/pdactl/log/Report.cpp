#include "log/Report.h"

#include "Text.h"
#include "schema/Schema.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>

namespace pdactl::log {

namespace {

constexpr const char* kNoValue = "-";

/// What is special about an exchange, in short.
std::string remarksOf(const Exchange& exchange) {
    std::vector<std::string> remarks;
    const auto add = [&](bool applies, const std::string& remark) {
        if (applies) {
            remarks.push_back(remark);
        }
    };
    const auto addCount = [&](int count, const char* what) {
        add(count > 0, std::to_string(count) + " " + what + (count == 1 ? "" : "s"));
    };
    add(exchange.lacksBeginning, "beginning missing");
    add(exchange.isInterleaved, "interleaved with another host");
    add(exchange.messagesSent > 1, std::to_string(exchange.messagesSent) + " messages sent");
    addCount(exchange.timeouts, "timeout");
    addCount(exchange.wrongMessages, "wrong message");
    addCount(exchange.failedWrites, "failed write");
    remarks.insert(remarks.end(), exchange.notes.begin(), exchange.notes.end());
    std::string all;
    for (const std::string& remark : remarks) {
        all += (all.empty() ? "" : "; ") + remark;
    }
    return all;
}

std::string line(const std::array<std::string, kColumns>& cells) {
    constexpr std::array<std::size_t, kColumns> kWidths{25, 8, 34, 18, 10, 12, 12, 0};
    std::string result;
    for (std::size_t i = 0; i < kColumns; ++i) {
        const std::string text = printable(cells.at(i));
        result += text + std::string(std::max(kWidths.at(i), text.size() + 1) - text.size(), ' ');
    }
    result.erase(result.find_last_not_of(' ') + 1);
    return result + "\n";
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

QJsonObject objectOf(const Exchange& exchange) {
    return {
        {"begin", json(formatTime(exchange.begin, 'T'))},
        {"took", static_cast<qint64>(exchange.duration())},
        {"gap", exchange.gap ? QJsonValue(static_cast<qint64>(*exchange.gap)) : QJsonValue()},
        {"origin", json(exchange.originName())},
        {"code", json(exchange.code)},
        {"call", json(exchange.call())},
        {"type", json(exchange.type)},
        {"outcome", json(exchange.outcomeName())},
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

std::string lineOf(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString() + "\n";
}

} // namespace

std::size_t Report::failures() const {
    return static_cast<std::size_t>(std::count_if(
        exchanges.begin(), exchanges.end(), [](const Exchange& exchange) { return exchange.failed(); }));
}

std::array<std::string, kColumns> cellsOf(const Exchange& exchange) {
    const auto orNone = [](const std::string& text) { return text.empty() ? kNoValue : text; };
    return {formatTime(exchange.begin),
            orNone(exchange.code),
            exchange.call(),
            std::string(exchange.outcomeName()),
            orNone(exchange.resultCode),
            formatDuration(exchange.duration()),
            exchange.gap ? formatDuration(*exchange.gap) : kNoValue,
            remarksOf(exchange)};
}

std::vector<Text> textsOf(const Exchange& exchange) {
    const Text sent{"to PDA", exchange.sent};
    const Text received{"from PDA", exchange.received};
    const bool isTerminal = exchange.origin == Origin::Terminal;
    std::vector<Text> texts{{"request", exchange.request},
                            isTerminal ? received : sent,
                            isTerminal ? sent : received,
                            {"response", exchange.response}};
    texts.erase(
        std::remove_if(texts.begin(), texts.end(), [](const Text& each) { return each.text.empty(); }),
        texts.end());
    return texts;
}

std::vector<Latency> latencies(const std::vector<Exchange>& exchanges) {
    std::map<std::tuple<bool, std::string, std::string>, std::pair<std::vector<Time>, std::size_t>> kinds;
    for (const Exchange& exchange : exchanges) {
        auto& [times, failures] = kinds[{exchange.code.empty(), exchange.code, exchange.call()}];
        times.push_back(exchange.duration());
        failures += exchange.failed() ? 1 : 0;
    }
    std::vector<Latency> result;
    for (auto& [kind, measured] : kinds) {
        auto& [times, failures] = measured;
        std::sort(times.begin(), times.end());
        // The value that this share of them does not exceed.
        const auto percentile = [&times = times](std::size_t percent) {
            return times[(times.size() * percent + 99) / 100 - 1];
        };
        result.push_back({std::get<1>(kind), std::get<2>(kind), times.size(), failures, times.front(),
                          percentile(50), percentile(95), times.back()});
    }
    return result;
}

std::string tableHead() {
    std::array<std::string, kColumns> heads;
    std::copy(kHeads.begin(), kHeads.end(), heads.begin());
    return line(heads);
}

std::string tableRow(const Exchange& exchange, bool withMessages) {
    std::string row = line(cellsOf(exchange));
    for (const Text& each : withMessages ? textsOf(exchange) : std::vector<Text>()) {
        const std::string label = each.label;
        row += "    " + label + std::string(10 - label.size(), ' ') + printable(each.text) + "\n";
    }
    return row;
}

std::string tableFoot(const Report& report) {
    const std::size_t count = report.exchanges.size();
    return std::to_string(count) + (count == 1 ? " exchange, " : " exchanges, ") +
           std::to_string(report.failures()) + " failed\n";
}

std::string jsonOf(const Exchange& exchange) {
    return lineOf(objectOf(exchange));
}

std::string jsonOf(const Report& report) {
    QJsonArray exchanges;
    for (const Exchange& exchange : report.exchanges) {
        exchanges.append(objectOf(exchange));
    }
    return lineOf({{"files", json(report.files)},
                   {"gaps", json(report.gaps)},
                   {"redacted", report.isRedacted},
                   {"exchanges", exchanges}});
}

QJsonObject exchangeSchema() {
    schema::Members members = schema::members(
        "begin:string took:integer gap:integer,null origin:string code:string call:string type:string "
        "outcome:string result:integer,null resultCode:string request:string sent:string received:string "
        "response:string messagesSent:integer messagesReceived:integer timeouts:integer "
        "wrongMessages:integer failedWrites:integer lacksBeginning:boolean isInterleaved:boolean");
    members.push_back({"notes", schema::listOf({{"type", "string"}})});
    return schema::object(members);
}

QJsonObject reportSchema() {
    const QJsonObject texts = schema::listOf({{"type", "string"}});
    return schema::object({{"files", texts},
                           {"gaps", texts},
                           {"redacted", {{"type", "boolean"}}},
                           {"exchanges", schema::listOf(exchangeSchema())}});
}

} // namespace pdactl::log
