#include "log/HtmlCharts.h"
#include "log/HtmlText.h"
#include "log/JsonText.h"
#include "log/Report.h"

#include <algorithm>

namespace pdactl::log {

namespace {

constexpr const char* Style = R"(
:root { color-scheme: light dark; --ground: #ffffff; --ink: #1b1f24; --faint: #59626d; --line: #c9d0d8;
  --good: #1f6f8b; --bad: #b3261e; --raised: #f3f5f7; }
@media (prefers-color-scheme: dark) { :root { --ground: #14181d; --ink: #e6eaef; --faint: #a3adb8;
  --line: #3a434d; --good: #6cc3de; --bad: #ff8a80; --raised: #1e242b; } }
body { margin: 2rem auto; max-width: 76rem; padding: 0 1rem; background: var(--ground); color: var(--ink);
  font: 1rem/1.5 system-ui, sans-serif; }
h1 { font-size: 1.6rem; } h2 { font-size: 1.2rem; margin-top: 2.5rem; }
.faint { color: var(--faint); }
.wide { overflow-x: auto; }
table { border-collapse: collapse; width: 100%; font-size: .9rem; }
caption { text-align: left; color: var(--faint); padding-bottom: .4rem; }
th, td { text-align: left; padding: .25rem .6rem; border-bottom: 1px solid var(--line); vertical-align: top; }
th { background: var(--raised); } .number { text-align: right; font-variant-numeric: tabular-nums; }
.bad { color: var(--bad); font-weight: 600; }
dl { display: grid; grid-template-columns: max-content auto; gap: .2rem 1rem; } dd { margin: 0; }
code { font: .85rem/1.4 ui-monospace, monospace; overflow-wrap: anywhere; }
svg { width: 100%; height: auto; background: var(--raised); border-radius: .4rem; }
svg text { fill: var(--ink); font: 12px system-ui, sans-serif; } svg .axis { stroke: var(--line); }
svg .good { fill: var(--good); } svg .bad { fill: var(--bad); } svg .span { stroke: var(--good); }
)";

using Cells = std::vector<std::string>;

std::string tableOf(const std::string& caption, const Cells& heads, const std::string& rows) {
    std::string text = R"(<div class="wide" tabindex="0" role="region" aria-label=")" + caption +
                       "\"><table><caption>" + caption + "</caption><thead><tr>";
    for (const std::string& head : heads) {
        text += "<th scope=\"col\">" + head + "</th>";
    }
    return text + "</tr></thead><tbody>\n" + rows + "</tbody></table></div>\n";
}

std::string cell(const std::string& text, const char* style = nullptr) {
    return (style != nullptr ? "<td class=\"" + std::string(style) + "\">" : std::string("<td>")) +
           html(text) + "</td>";
}

std::string remarks(const Exchange& exchange) {
    std::string text;
    for (const std::string& remark : remarksOf(exchange)) {
        text += (text.empty() ? "" : "; ") + remark;
    }
    return text;
}

std::string message(const char* label, const std::string& text) {
    return text.empty() ? "" : "<dt>" + std::string(label) + "</dt><dd><code>" + html(text) + "</code></dd>";
}

std::string details(const Exchange& exchange) {
    return "<td><details><summary>Show</summary><dl>" + message("Request", exchange.request) +
           message("To the terminal", exchange.sent) + message("From the terminal", exchange.received) +
           message("Response", exchange.response) + "</dl></details></td>";
}

std::string exchangeRow(const Exchange& exchange) {
    return "<tr>" + cell(formatTime(exchange.begin)) + cell(exchange.code) + cell(callOf(exchange)) +
           cell(std::string(nameOf(exchange.outcome)), exchange.failed() ? "bad" : nullptr) +
           cell(exchange.verdict) + cell(formatDuration(exchange.duration()), "number") +
           cell(exchange.gap ? formatDuration(*exchange.gap) : "", "number") + cell(remarks(exchange)) +
           details(exchange) + "</tr>\n";
}

std::string exchangeTable(const std::string& caption, const std::vector<Exchange>& exchanges,
                          bool onlyFailed) {
    std::string rows;
    for (const Exchange& exchange : exchanges) {
        rows += !onlyFailed || exchange.failed() ? exchangeRow(exchange) : std::string();
    }
    return tableOf(
        caption, {"Time", "Code", "Call", "Result", "Terminal", "Took", "Gap before", "Remarks", "Messages"},
        rows);
}

std::string latencyTable(const std::vector<Latency>& kinds) {
    std::string rows;
    for (const Latency& kind : kinds) {
        rows += "<tr>" + cell(kind.code) + cell(kind.call) + cell(std::to_string(kind.count), "number") +
                cell(std::to_string(kind.failures), kind.failures > 0 ? "number bad" : "number") +
                cell(formatDuration(kind.least), "number") + cell(formatDuration(kind.median), "number") +
                cell(formatDuration(kind.ninetyFifth), "number") + cell(formatDuration(kind.most), "number") +
                "</tr>\n";
    }
    return tableOf("Time taken by each transaction",
                   {"Code", "Call", "Count", "Failures", "Least", "Median", "95 %", "Most"}, rows);
}

std::string summary(const Report& report, std::ptrdiff_t failures) {
    std::string text = "<dl><dt>Exchanges</dt><dd id=\"count\">" + std::to_string(report.exchanges.size()) +
                       "</dd><dt>Failures</dt><dd id=\"failures\">" + std::to_string(failures) + "</dd>";
    if (!report.exchanges.empty()) {
        text += "<dt>From</dt><dd>" + formatTime(report.exchanges.front().begin) + "</dd><dt>To</dt><dd>" +
                formatTime(report.exchanges.back().end) + "</dd>";
    }
    for (const std::string& file : report.files) {
        text += "<dt>Log</dt><dd>" + html(file) + "</dd>";
    }
    for (const std::string& gap : report.gaps) {
        text += "<dt>Gap</dt><dd class=\"bad\">" + html(gap) + "</dd>";
    }
    return text + "</dl>\n<p class=\"faint\">" +
           (report.isRedacted ? "Keys, passwords, fingerprints and other secrets are masked."
                              : "This page is not redacted: it may contain keys and passwords.") +
           "</p>\n";
}

} // namespace

std::string html(std::string_view text) {
    std::string result;
    for (const char c : printable(text)) {
        switch (c) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '"':
            result += "&quot;";
            break;
        case '\'':
            result += "&#39;";
            break;
        default:
            result += c;
        }
    }
    return result;
}

std::string htmlPage(const Report& report) {
    const auto failures = std::count_if(report.exchanges.begin(), report.exchanges.end(),
                                        [](const Exchange& exchange) { return exchange.failed(); });
    const std::vector<Latency> kinds = latencies(report.exchanges);
    std::string page = "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
                       "<meta http-equiv=\"Content-Security-Policy\" "
                       "content=\"default-src 'none'; style-src 'unsafe-inline'\">\n"
                       "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
                       "<title>Terminal log</title>\n<style>" +
                       std::string(Style) + "</style></head>\n<body><main>\n<h1>Terminal log</h1>\n" +
                       summary(report, failures);
    if (report.exchanges.empty()) {
        return page + "<p>There is no exchange to show.</p>\n</main></body></html>\n";
    }
    page += "<h2>Timeline</h2>\n" + timelineChart(report.exchanges) + "<h2>Time taken</h2>\n" +
            latencyChart(kinds) + latencyTable(kinds) + "<h2>Failures</h2>\n";
    page += failures > 0 ? exchangeTable("Exchanges that failed", report.exchanges, true)
                         : "<p>Nothing failed.</p>\n";
    return page + "<h2>All exchanges</h2>\n" + exchangeTable("Exchanges in order", report.exchanges, false) +
           "</main></body></html>\n";
}

} // namespace pdactl::log
