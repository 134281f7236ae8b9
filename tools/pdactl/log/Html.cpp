#include "Text.h"
#include "log/Report.h"

#include <QString>

#include <algorithm>
#include <cmath>
#include <map>

namespace pdactl::log {

namespace {

constexpr const char* kStyle = R"(
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

/// The text as content of an element or of a quoted attribute.
std::string html(std::string_view text) {
    return QString::fromStdString(printable(text)).toHtmlEscaped().replace('\'', "&#39;").toStdString();
}

constexpr Time kWidth = 1000;
constexpr Time kLeft = 290; // of the axis; the labels are before it
constexpr Time kRight = 960;
constexpr Time kRowHeight = 24;
constexpr Time kTop = 12;
constexpr Time kAxisHeight = 36;

std::string number(Time value) {
    return std::to_string(value);
}

std::string chart(const char* id, const std::string& title, const std::string& description, std::size_t rows,
                  const std::string& content) {
    const Time height = kTop + static_cast<Time>(rows) * kRowHeight + kAxisHeight;
    const std::string name = id;
    return "<svg id=\"" + name + "\" viewBox=\"0 0 " + number(kWidth) + " " + number(height) +
           R"(" role="img" aria-labelledby=")" + name + "-title " + name + "-text\"><title id=\"" + name +
           "-title\">" + html(title) + "</title><desc id=\"" + name + "-text\">" + html(description) +
           "</desc>\n" + content + "</svg>\n";
}

std::string text(Time x, Time y, const char* anchor, const std::string& content) {
    return "<text x=\"" + number(x) + "\" y=\"" + number(y) + "\" text-anchor=\"" + anchor + "\">" +
           html(content) + "</text>\n";
}

std::string line(const char* style, Time x1, Time y1, Time x2, Time y2) {
    return "<line class=\"" + std::string(style) + "\" x1=\"" + number(x1) + "\" y1=\"" + number(y1) +
           "\" x2=\"" + number(x2) + "\" y2=\"" + number(y2) + "\"/>\n";
}

std::string bar(Time x, Time y, Time width, Time height, const std::string& tip) {
    return R"(<rect class="good" x=")" + number(x) + "\" y=\"" + number(y) + "\" width=\"" + number(width) +
           "\" height=\"" + number(height) + "\"><title>" + html(tip) + "</title></rect>\n";
}

std::string triangle(Time x, Time y, const std::string& tip) {
    return R"(<path class="bad" d="M)" + number(x - 6) + " " + number(y + 7) + " L" + number(x + 6) + " " +
           number(y + 7) + " L" + number(x) + " " + number(y - 7) + " Z\"><title>" + html(tip) +
           "</title></path>\n";
}

std::string labelOf(const std::string& code, const std::string& call) {
    return code.empty() ? call : code + " " + call;
}

std::string tipOf(const Exchange& exchange) {
    return formatTime(exchange.begin) + " " + callOf(exchange) + ": " +
           std::string(nameOf(exchange.outcome)) + ", " + formatDuration(exchange.duration());
}

/// What is drawn at one place of a row: the first there, and the first failure.
struct Mark {
    const Exchange* exchange = nullptr;
    const Exchange* failure = nullptr;
    std::size_t count = 0;
    Time width = 2;
};

using Marks = std::map<std::pair<std::string, Time>, Mark>; // by row and place

std::string draw(const Mark& mark, Time x, Time y) {
    const std::string more = mark.count > 1 ? ", and " + std::to_string(mark.count - 1) + " more" : "";
    std::string result = bar(x, y - 5, mark.width, 10, tipOf(*mark.exchange) + more);
    if (mark.failure != nullptr) {
        result += triangle(x, y, tipOf(*mark.failure) + more);
    }
    return result;
}

Time logarithmic(Time value, Time most) {
    const double share = std::log1p(static_cast<double>(value)) / std::log1p(static_cast<double>(most));
    return kLeft + static_cast<Time>(share * static_cast<double>(kRight - kLeft));
}

/// When which transactions took place; failures stand out by form and colour.
std::string timelineChart(const std::vector<Exchange>& exchanges) {
    const Time begin = exchanges.front().begin;
    Time end = begin + 1;
    for (const Exchange& exchange : exchanges) {
        end = std::max(end, exchange.end);
    }
    const auto place = [&](Time time) { return kLeft + (time - begin) * (kRight - kLeft) / (end - begin); };
    Marks marks;
    std::map<std::string, Time> rows; // height of each
    for (const Exchange& exchange : exchanges) {
        const std::string label = labelOf(exchange.code, callOf(exchange));
        rows[label] = 0;
        Mark& mark = marks[{label, place(exchange.begin)}];
        mark.exchange = mark.exchange != nullptr ? mark.exchange : &exchange;
        mark.failure = mark.failure == nullptr && exchange.failed() ? &exchange : mark.failure;
        mark.width = std::max(mark.width, place(exchange.end) - place(exchange.begin));
        ++mark.count;
    }
    std::string content;
    Time y = kTop + kRowHeight / 2;
    for (auto& [label, height] : rows) {
        height = y;
        content += text(kLeft - 12, y + 4, "end", label) + line("axis", kLeft, y, kRight, y);
        y += kRowHeight;
    }
    for (const auto& [where, mark] : marks) {
        content += draw(mark, where.second, rows[where.first]);
    }
    content += text(kLeft, y + 12, "start", formatTime(begin)) + text(kRight, y + 12, "end", formatTime(end));
    return chart("timeline", "Timeline of exchanges",
                 std::to_string(exchanges.size()) +
                     " exchanges, one row for each transaction; a triangle marks a failure. The table of all "
                     "exchanges says the same in words.",
                 rows.size(), content);
}

/// How the times of each kind are spread, on a logarithmic scale.
std::string latencyChart(const std::vector<Latency>& kinds) {
    Time most = 1;
    for (const Latency& kind : kinds) {
        most = std::max(most, kind.most);
    }
    std::string content;
    Time y = kTop + kRowHeight / 2;
    for (const Latency& kind : kinds) {
        const Time least = logarithmic(kind.least, most);
        const Time median = logarithmic(kind.median, most);
        const std::string tip = labelOf(kind.code, kind.call) + ": " + formatDuration(kind.least) + " to " +
                                formatDuration(kind.most) + ", median " + formatDuration(kind.median);
        content += text(kLeft - 12, y + 4, "end", labelOf(kind.code, kind.call)) +
                   line("axis", kLeft, y, kRight, y) +
                   line("span", least, y, logarithmic(kind.most, most), y) +
                   bar(least, y - 3, std::max<Time>(logarithmic(kind.ninetyFifth, most) - least, 2), 6, tip) +
                   bar(median - 2, y - 8, 4, 16, tip);
        y += kRowHeight;
    }
    for (Time mark = 10; mark < most; mark *= 10) {
        const Time x = logarithmic(mark, most);
        content +=
            line("axis", x, kTop, x, y - kRowHeight / 2) + text(x, y + 12, "middle", formatDuration(mark));
    }
    return chart(
        "latency", "Time taken by each transaction",
        "One row for each transaction, on a logarithmic scale: a bar from the least to the time that 95 % "
        "of them keep, a thin line to the most, a mark at the median. The table below has the numbers.",
        kinds.size(), content);
}

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
           cell(exchange.resultCode) + cell(formatDuration(exchange.duration()), "number") +
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

std::string htmlPage(const Report& report) {
    const auto failures = std::count_if(report.exchanges.begin(), report.exchanges.end(),
                                        [](const Exchange& exchange) { return exchange.failed(); });
    const std::vector<Latency> kinds = latencies(report.exchanges);
    std::string page = "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
                       "<meta http-equiv=\"Content-Security-Policy\" "
                       "content=\"default-src 'none'; style-src 'unsafe-inline'\">\n"
                       "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
                       "<title>Terminal log</title>\n<style>" +
                       std::string(kStyle) + "</style></head>\n<body><main>\n<h1>Terminal log</h1>\n" +
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
