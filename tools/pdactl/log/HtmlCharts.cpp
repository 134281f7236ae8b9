#include "log/HtmlCharts.h"

#include "log/HtmlText.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace pdactl::log {

namespace {

constexpr Time Width = 1000;
constexpr Time Left = 290; // of the axis; the labels stand before it
constexpr Time Right = 960;
constexpr Time RowHeight = 24;
constexpr Time Top = 12;
constexpr Time AxisHeight = 36;

std::string number(Time value) {
    return std::to_string(value);
}

std::string chart(const char* id, const std::string& title, const std::string& description, std::size_t rows,
                  const std::string& content) {
    const Time height = Top + static_cast<Time>(rows) * RowHeight + AxisHeight;
    const std::string name = id;
    return "<svg id=\"" + name + "\" viewBox=\"0 0 " + number(Width) + " " + number(height) +
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

/** What is drawn at one place of a row: the first there, and the first failure. */
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
    return Left + static_cast<Time>(share * static_cast<double>(Right - Left));
}

} // namespace

std::string timelineChart(const std::vector<Exchange>& exchanges) {
    const Time begin = exchanges.front().begin;
    Time end = begin + 1;
    for (const Exchange& exchange : exchanges) {
        end = std::max(end, exchange.end);
    }
    const auto place = [&](Time time) { return Left + (time - begin) * (Right - Left) / (end - begin); };
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
    Time y = Top + RowHeight / 2;
    for (auto& [label, height] : rows) {
        height = y;
        content += text(Left - 12, y + 4, "end", label) + line("axis", Left, y, Right, y);
        y += RowHeight;
    }
    for (const auto& [where, mark] : marks) {
        content += draw(mark, where.second, rows[where.first]);
    }
    content += text(Left, y + 12, "start", formatTime(begin)) + text(Right, y + 12, "end", formatTime(end));
    return chart("timeline", "Timeline of exchanges",
                 std::to_string(exchanges.size()) +
                     " exchanges, one row for each transaction; a triangle marks a failure. The table of all "
                     "exchanges says the same in words.",
                 rows.size(), content);
}

std::string latencyChart(const std::vector<Latency>& kinds) {
    Time most = 1;
    for (const Latency& kind : kinds) {
        most = std::max(most, kind.most);
    }
    std::string content;
    Time y = Top + RowHeight / 2;
    for (const Latency& kind : kinds) {
        const Time least = logarithmic(kind.least, most);
        const Time median = logarithmic(kind.median, most);
        const std::string tip = labelOf(kind.code, kind.call) + ": " + formatDuration(kind.least) + " to " +
                                formatDuration(kind.most) + ", median " + formatDuration(kind.median);
        content += text(Left - 12, y + 4, "end", labelOf(kind.code, kind.call)) +
                   line("axis", Left, y, Right, y) + line("span", least, y, logarithmic(kind.most, most), y) +
                   bar(least, y - 3, std::max<Time>(logarithmic(kind.ninetyFifth, most) - least, 2), 6, tip) +
                   bar(median - 2, y - 8, 4, 16, tip);
        y += RowHeight;
    }
    for (Time mark = 10; mark < most; mark *= 10) {
        const Time x = logarithmic(mark, most);
        content +=
            line("axis", x, Top, x, y - RowHeight / 2) + text(x, y + 12, "middle", formatDuration(mark));
    }
    return chart(
        "latency", "Time taken by each transaction",
        "One row for each transaction, on a logarithmic scale: a bar from the least to the time that 95 % "
        "of them keep, a thin line to the most, a mark at the median. The table below has the numbers.",
        kinds.size(), content);
}

} // namespace pdactl::log
