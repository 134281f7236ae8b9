#include "CostReport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <functional>
#include <iterator>
#include <limits>

namespace pdalink::bench {

namespace {

constexpr double kExtraTimeGoal = 2; // ms

/// One line of the table: a figure that every cost has.
struct Figure {
    std::string key;
    std::string label;
    std::function<double(const Cost&)> of;
};

std::vector<Figure> figuresOf(const Comparison& comparison) {
    std::vector<Figure> figures = {
        {"cpu_ms", "CPU, ms", [](const Cost& cost) { return cost.cpu; }},
        {"receiver_cpu_ms", "  of it the receiver", [](const Cost& cost) { return cost.receiverCpu; }},
        {"wake_ups", "wake-ups", [](const Cost& cost) { return cost.wakeUps; }}};
    if (comparison.protocolTime) {
        const double own = *comparison.protocolTime;
        std::array<char, 64> label{};
        (void)std::snprintf(label.data(), label.size(), "time beyond %g ms, ms", own);
        figures.push_back(
            {"extra_time_ms", label.data(), [own](const Cost& cost) { return cost.time - own; }});
    }
    return figures;
}

std::vector<double> valuesOf(const Figure& figure, const std::vector<Cost>& costs) {
    std::vector<double> values;
    std::transform(costs.begin(), costs.end(), std::back_inserter(values), figure.of);
    return values;
}

struct Summary {
    double minimum;
    double median;
};

Summary summarise(std::vector<double> values) {
    if (values.empty()) {
        constexpr double nothing = std::numeric_limits<double>::quiet_NaN();
        return {nothing, nothing};
    }
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    const bool isOdd = values.size() % 2 == 1;
    return {values.front(), isOdd ? values[middle] : (values[middle - 1] + values[middle]) / 2};
}

__attribute__((format(printf, 1, 2))) std::string formatted(const char* format, ...) {
    std::array<char, 512> text{};
    va_list arguments;
    va_start(arguments, format);
    (void)std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    return text.data();
}

std::string ratio(double library, double bare) {
    return bare > 0 ? formatted("%.2f", library / bare) : "-";
}

std::string figureLine(const Figure& figure, const Comparison& comparison) {
    const Summary library = summarise(valuesOf(figure, comparison.library));
    const Summary bare = summarise(valuesOf(figure, comparison.bare));
    return formatted("  %-24s %9.3f %9.3f   %9.3f %9.3f   %7s %7s\n", figure.label.c_str(), library.minimum,
                     library.median, bare.minimum, bare.median, ratio(library.minimum, bare.minimum).c_str(),
                     ratio(library.median, bare.median).c_str());
}

std::string goalLine(const Comparison& comparison) {
    if (!comparison.goal) {
        return "  goal: none\n";
    }
    const Goal& goal = *comparison.goal;
    const Figure cpu = figuresOf(comparison).front();
    const double library = summarise(valuesOf(cpu, comparison.library)).median;
    const double bare = summarise(valuesOf(cpu, comparison.bare)).median;
    const auto verdict = [](bool isMet) { return isMet ? "met" : "missed"; };
    std::vector<std::string> parts;
    if (goal.cpu) {
        parts.push_back(formatted("at most %g ms CPU: %s", *goal.cpu, verdict(library <= *goal.cpu)));
    }
    if (goal.timesBare) {
        parts.push_back(formatted("or %g times the bare program's: %s", *goal.timesBare,
                                  verdict(library <= *goal.timesBare * bare)));
    }
    if (goal.beyondBare) {
        parts.push_back(formatted("at most %g ms CPU more than the bare program: %s", *goal.beyondBare,
                                  verdict(library - bare <= *goal.beyondBare)));
    }
    if (comparison.protocolTime) {
        const double extra = summarise(valuesOf(figuresOf(comparison).back(), comparison.library)).median;
        parts.push_back(formatted("at most %g ms beyond %g ms: %s", kExtraTimeGoal, *comparison.protocolTime,
                                  verdict(extra <= kExtraTimeGoal)));
    }
    std::string line = "  goal: ";
    for (const std::string& part : parts) {
        line += (&part == &parts.front() ? "" : "; ") + part;
    }
    return line + "\n";
}

/// What one wake-up costs on this machine, from the receiver, which does nothing else while it is idle.
std::string wakeUpLine(const std::vector<Comparison>& comparisons) {
    for (const Comparison& comparison : comparisons) {
        if (comparison.name == "idle") {
            std::vector<double> costs;
            for (const Cost& cost : comparison.library) {
                costs.push_back(cost.cpu * 1000 / cost.wakeUps);
            }
            return formatted("\nA wake-up of the library's idle receiver costs %.1f us here (median).\n",
                             summarise(costs).median);
        }
    }
    return {};
}

QJsonArray jsonArray(const std::vector<double>& values) {
    QJsonArray array;
    std::copy(values.begin(), values.end(), std::back_inserter(array));
    return array;
}

QJsonObject jsonFigures(const Comparison& comparison, const std::vector<Cost>& costs) {
    QJsonObject object;
    for (const Figure& figure : figuresOf(comparison)) {
        object.insert(QString::fromStdString(figure.key), jsonArray(valuesOf(figure, costs)));
    }
    return object;
}

} // namespace

std::string costTable(const std::string& nodeKind, const Plan& plan,
                      const std::vector<Comparison>& comparisons) {
    std::string table = formatted("Channel on a %s, %d round%s, library and bare program in turn\n\n",
                                  nodeKind.c_str(), plan.rounds, plan.rounds == 1 ? "" : "s");
    table += formatted("  %-24s %19s   %19s   %15s\n", "", "library", "bare", "ratio");
    table += formatted("  %-24s %9s %9s   %9s %9s   %7s %7s\n", "", "min", "median", "min", "median", "min",
                       "median");
    for (const Comparison& comparison : comparisons) {
        table += comparison.description + "\n";
        for (const Figure& figure : figuresOf(comparison)) {
            table += figureLine(figure, comparison);
        }
        table += goalLine(comparison);
    }
    return table + wakeUpLine(comparisons);
}

std::string costJson(const std::string& nodeKind, const Plan& plan,
                     const std::vector<Comparison>& comparisons) {
    QJsonArray measurements;
    for (const Comparison& comparison : comparisons) {
        measurements.append(QJsonObject{{"name", QString::fromStdString(comparison.name)},
                                        {"description", QString::fromStdString(comparison.description)},
                                        {"library", jsonFigures(comparison, comparison.library)},
                                        {"bare", jsonFigures(comparison, comparison.bare)}});
    }
    const QJsonObject report{{"node", QString::fromStdString(nodeKind)},
                             {"seconds", plan.seconds},
                             {"exchanges", plan.exchanges},
                             {"measurements", measurements}};
    return QJsonDocument(report).toJson().toStdString();
}

} // namespace pdalink::bench
