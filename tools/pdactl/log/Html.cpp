#include "Text.h"
#include "log/Report.h"

#include <QString>

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

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

QString escaped(std::string_view text) {
    return QString::fromStdString(printable(text)).toHtmlEscaped().replace('\'', "&#39;");
}

QString escaped(Time number) {
    return QString::number(number);
}

/// Markup with these texts in place of "%1", "%2" and so on.
template <typename... Texts>
QString html(const char* markup, const Texts&... texts) {
    return QString::fromUtf8(markup).arg(escaped(texts)...);
}

constexpr Time kLeft = 290; // of the axis; the labels are before it
constexpr Time kRight = 960;
constexpr Time kRowHeight = 24;
constexpr Time kTop = 12;
constexpr Time kAxisHeight = 36;

/// Rows of a picture, and an axis.
QString chart(const char* id, const char* title, const std::string& description, std::size_t rows,
              const QString& content) {
    const Time height = kTop + static_cast<Time>(rows) * kRowHeight + kAxisHeight;
    return html(R"(<svg id="%1" viewBox="0 0 1000 %2" role="img" aria-labelledby="%1-title %1-text">)"
                R"(<title id="%1-title">%3</title><desc id="%1-text">%4</desc>)",
                id, height, title, description) +
           "\n" + content + "</svg>\n";
}

QString text(Time x, Time y, const char* anchor, const std::string& content) {
    return html("<text x=\"%1\" y=\"%2\" text-anchor=\"%3\">%4</text>\n", x, y, anchor, content);
}

QString line(const char* style, Time x1, Time y1, Time x2, Time y2) {
    return html("<line class=\"%1\" x1=\"%2\" y1=\"%3\" x2=\"%4\" y2=\"%5\"/>\n", style, x1, y1, x2, y2);
}

QString bar(Time x, Time y, Time width, Time height, const std::string& tip) {
    return html(
        "<rect class=\"good\" x=\"%1\" y=\"%2\" width=\"%3\" height=\"%4\"><title>%5</title></rect>\n", x, y,
        width, height, tip);
}

/// A row's place and its label.
QString rowAt(Time y, const std::string& label) {
    return text(kLeft - 12, y + 4, "end", label) + line("axis", kLeft, y, kRight, y);
}

std::string labelOf(const std::string& code, const std::string& call) {
    return code.empty() ? call : code + " " + call;
}

std::string tipOf(const Exchange& exchange) {
    return formatTime(exchange.begin) + " " + exchange.call() + ": " + std::string(exchange.outcomeName()) +
           ", " + formatDuration(exchange.duration());
}

/// What is drawn at one place of a row: the first there, and the first failure.
struct Mark {
    const Exchange* exchange = nullptr;
    const Exchange* failure = nullptr;
    std::size_t count = 0;
    Time width = 2;
};

QString draw(const Mark& mark, Time x, Time y) {
    const std::string more = mark.count > 1 ? ", and " + std::to_string(mark.count - 1) + " more" : "";
    const QString all = bar(x, y - 5, mark.width, 10, tipOf(*mark.exchange) + more);
    return mark.failure == nullptr
               ? all
               : all + html("<path class=\"bad\" d=\"M%1 %4 L%2 %4 L%3 %5 Z\"><title>%6</title></path>\n",
                            x - 6, x + 6, x, y + 7, y - 7, tipOf(*mark.failure) + more);
}

/// When which transactions took place; failures stand out by form and colour.
QString timelineChart(const std::vector<Exchange>& exchanges) {
    const Time begin = exchanges.front().begin;
    Time end = begin + 1;
    for (const Exchange& exchange : exchanges) {
        end = std::max(end, exchange.end);
    }
    const auto place = [&](Time time) { return kLeft + (time - begin) * (kRight - kLeft) / (end - begin); };
    std::map<std::string, std::map<Time, Mark>> rows; // by label and place
    for (const Exchange& exchange : exchanges) {
        Mark& mark = rows[labelOf(exchange.code, exchange.call())][place(exchange.begin)];
        mark.exchange = mark.exchange != nullptr ? mark.exchange : &exchange;
        mark.failure = mark.failure == nullptr && exchange.failed() ? &exchange : mark.failure;
        mark.width = std::max(mark.width, place(exchange.end) - place(exchange.begin));
        ++mark.count;
    }
    QString content;
    Time y = kTop + kRowHeight / 2;
    for (const auto& [label, marks] : rows) {
        content += rowAt(y, label);
        for (const auto& [x, mark] : marks) {
            content += draw(mark, x, y);
        }
        y += kRowHeight;
    }
    content += text(kLeft, y + 12, "start", formatTime(begin)) + text(kRight, y + 12, "end", formatTime(end));
    return chart("timeline", "Timeline of exchanges",
                 std::to_string(exchanges.size()) +
                     " exchanges, one row for each transaction; a triangle marks a failure. The table of all "
                     "exchanges says the same in words.",
                 rows.size(), content);
}

/// How the times of each kind are spread, on a logarithmic scale.
QString latencyChart(const std::vector<Latency>& kinds) {
    Time most = 1;
    for (const Latency& kind : kinds) {
        most = std::max(most, kind.most);
    }
    const auto place = [&](Time value) {
        const double share = std::log1p(static_cast<double>(value)) / std::log1p(static_cast<double>(most));
        return kLeft + static_cast<Time>(share * static_cast<double>(kRight - kLeft));
    };
    QString content;
    Time y = kTop + kRowHeight / 2;
    for (const Latency& kind : kinds) {
        const Time least = place(kind.least);
        const std::string label = labelOf(kind.code, kind.call);
        const std::string tip = label + ": " + formatDuration(kind.least) + " to " +
                                formatDuration(kind.most) + ", median " + formatDuration(kind.median);
        content += rowAt(y, label) + line("span", least, y, place(kind.most), y) +
                   bar(least, y - 3, std::max<Time>(place(kind.ninetyFifth) - least, 2), 6, tip) +
                   bar(place(kind.median) - 2, y - 8, 4, 16, tip);
        y += kRowHeight;
    }
    for (Time mark = 10; mark < most; mark *= 10) {
        const Time x = place(mark);
        content +=
            line("axis", x, kTop, x, y - kRowHeight / 2) + text(x, y + 12, "middle", formatDuration(mark));
    }
    return chart(
        "latency", "Time taken by each transaction",
        "One row for each transaction, on a logarithmic scale: a bar from the least to the time that 95 % "
        "of them keep, a thin line to the most, a mark at the median. The table below has the numbers.",
        kinds.size(), content);
}

template <typename Heads>
QString tableOf(const char* caption, const Heads& heads, const QString& rows) {
    QString table = html(R"(<div class="wide" tabindex="0" role="region" aria-label="%1"><table>)"
                         "<caption>%1</caption><thead><tr>",
                         caption);
    for (const char* head : heads) {
        table += html("<th scope=\"col\">%1</th>", head);
    }
    return table + "</tr></thead><tbody>\n" + rows + "</tbody></table></div>\n";
}

QString cell(const std::string& content, const char* style = "") {
    return html("<td class=\"%1\">%2</td>", style, content);
}

QString exchangeRow(const Exchange& exchange) {
    const char* result = exchange.failed() ? "bad" : "";
    const std::array<const char*, kColumns> styles{"", "", "", result, "", "number", "number", ""};
    const std::array<std::string, kColumns> cells = cellsOf(exchange);
    QString row = "<tr>";
    for (std::size_t i = 0; i < kColumns; ++i) {
        row += cell(cells.at(i), styles.at(i));
    }
    row += "<td><details><summary>Show</summary><dl>";
    for (const Text& each : textsOf(exchange)) {
        row += html("<dt>%1</dt><dd><code>%2</code></dd>", each.label, each.text);
    }
    return row + "</dl></details></td></tr>\n";
}

QString exchangeTable(const char* caption, const std::vector<Exchange>& exchanges, bool onlyFailed) {
    std::vector<const char*> heads(kHeads.begin(), kHeads.end());
    heads.push_back("MESSAGES");
    QString rows;
    for (const Exchange& exchange : exchanges) {
        rows += !onlyFailed || exchange.failed() ? exchangeRow(exchange) : QString();
    }
    return tableOf(caption, heads, rows);
}

QString latencyTable(const std::vector<Latency>& kinds) {
    constexpr std::array<const char*, kColumns> kLatencyHeads{"CODE",  "CALL",   "COUNT", "FAILURES",
                                                              "LEAST", "MEDIAN", "95 %",  "MOST"};
    QString rows;
    for (const Latency& kind : kinds) {
        rows += "<tr>" + cell(kind.code) + cell(kind.call) + cell(std::to_string(kind.count), "number") +
                cell(std::to_string(kind.failures), kind.failures > 0 ? "number bad" : "number");
        for (const Time time : {kind.least, kind.median, kind.ninetyFifth, kind.most}) {
            rows += cell(formatDuration(time), "number");
        }
        rows += "</tr>\n";
    }
    return tableOf("Time taken by each transaction", kLatencyHeads, rows);
}

QString summary(const Report& report) {
    QString list = html(R"(<dl><dt>Exchanges</dt><dd id="count">%1</dd>)"
                        R"(<dt>Failures</dt><dd id="failures">%2</dd>)",
                        std::to_string(report.exchanges.size()), std::to_string(report.failures()));
    if (!report.exchanges.empty()) {
        list += html("<dt>From</dt><dd>%1</dd><dt>To</dt><dd>%2</dd>",
                     formatTime(report.exchanges.front().begin), formatTime(report.exchanges.back().end));
    }
    for (const std::string& file : report.files) {
        list += html("<dt>Log</dt><dd>%1</dd>", file);
    }
    for (const std::string& gap : report.gaps) {
        list += html("<dt>Gap</dt><dd class=\"bad\">%1</dd>", gap);
    }
    return list + html("</dl>\n<p class=\"faint\">%1</p>\n",
                       report.isRedacted ? "Keys, passwords, fingerprints and other secrets are masked."
                                         : "This page is not redacted: it may contain keys and passwords.");
}

QString contentOf(const Report& report) {
    if (report.exchanges.empty()) {
        return "<p>There is no exchange to show.</p>\n";
    }
    const std::vector<Latency> kinds = latencies(report.exchanges);
    return "<h2>Timeline</h2>\n" + timelineChart(report.exchanges) + "<h2>Time taken</h2>\n" +
           latencyChart(kinds) + latencyTable(kinds) + "<h2>Failures</h2>\n" +
           (report.failures() > 0 ? exchangeTable("Exchanges that failed", report.exchanges, true)
                                  : QStringLiteral("<p>Nothing failed.</p>\n")) +
           "<h2>All exchanges</h2>\n" + exchangeTable("Exchanges in order", report.exchanges, false);
}

} // namespace

std::string htmlPage(const Report& report) {
    const QString page = R"(<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Terminal log</title>
<style>)" + QString(kStyle) +
                         "</style></head>\n<body><main>\n<h1>Terminal log</h1>\n" + summary(report) +
                         contentOf(report) + "</main></body></html>\n";
    return page.toStdString();
}

} // namespace pdactl::log
