#include "Text.h"
#include "log/Report.h"

#include <algorithm>
#include <array>

namespace pdactl::log {

namespace {

constexpr std::array<std::size_t, 7> kWidths{25, 8, 34, 18, 10, 12, 12};
constexpr const char* kNoValue = "-";

std::string line(const std::array<std::string, 8>& cells) {
    std::string result;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        result += cells.at(i);
        if (i < kWidths.size()) {
            const std::size_t width = kWidths.at(i);
            result.append(cells.at(i).size() < width ? width - cells.at(i).size() : 1, ' ');
        }
    }
    result.erase(result.find_last_not_of(' ') + 1);
    return result + "\n";
}

std::string orNone(const std::string& text) {
    return text.empty() ? kNoValue : printable(text);
}

std::string joined(const std::vector<std::string>& texts) {
    std::string result;
    for (const std::string& text : texts) {
        result += (result.empty() ? "" : "; ") + printable(text);
    }
    return result;
}

void addMessage(std::string& row, const char* label, const std::string& message) {
    if (!message.empty()) {
        row += std::string("    ") + label + printable(message) + "\n";
    }
}

} // namespace

std::string tableHead() {
    return line({"TIME", "CODE", "CALL", "RESULT", "TERMINAL", "TOOK", "GAP", "REMARKS"});
}

std::string tableRow(const Exchange& exchange, bool withMessages) {
    std::string row =
        line({formatTime(exchange.begin), orNone(exchange.code), printable(callOf(exchange)),
              std::string(nameOf(exchange.outcome)), orNone(exchange.resultCode),
              formatDuration(exchange.duration()), exchange.gap ? formatDuration(*exchange.gap) : kNoValue,
              joined(remarksOf(exchange))});
    if (withMessages) {
        const bool isTerminal = exchange.origin == Origin::Terminal;
        addMessage(row, "request   ", exchange.request);
        addMessage(row, isTerminal ? "from PDA  " : "to PDA    ",
                   isTerminal ? exchange.received : exchange.sent);
        addMessage(row, isTerminal ? "to PDA    " : "from PDA  ",
                   isTerminal ? exchange.sent : exchange.received);
        addMessage(row, "response  ", exchange.response);
    }
    return row;
}

std::string tableFoot(const Report& report) {
    const auto failures = std::count_if(report.exchanges.begin(), report.exchanges.end(),
                                        [](const Exchange& exchange) { return exchange.failed(); });
    const std::size_t count = report.exchanges.size();
    return std::to_string(count) + (count == 1 ? " exchange, " : " exchanges, ") + std::to_string(failures) +
           " failed\n";
}

} // namespace pdactl::log
