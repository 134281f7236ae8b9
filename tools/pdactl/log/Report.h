#pragma once

#include "log/Exchange.h"

#include <QJsonObject>

#include <array>
#include <string>
#include <vector>

namespace pdactl::log {

/// What a log tells, ready to be shown.
struct Report {
    std::vector<std::string> files;
    std::vector<std::string> gaps;
    std::vector<Exchange> exchanges;
    bool isRedacted = true;

    std::size_t failures() const;
};

constexpr std::size_t kColumns = 8;
constexpr std::array<const char*, kColumns> kHeads{"TIME",     "CODE", "CALL", "RESULT",
                                                   "TERMINAL", "TOOK", "GAP",  "REMARKS"};

/// What a table says of an exchange, by column.
std::array<std::string, kColumns> cellsOf(const Exchange& exchange);

/// A message or a request, and what it is.
struct Text {
    const char* label;
    std::string text;
};

/// What was said, in order; what is not there is left out.
std::vector<Text> textsOf(const Exchange& exchange);

/// How long the transactions of one kind took.
struct Latency {
    std::string code;
    std::string call;
    std::size_t count = 0;
    std::size_t failures = 0;
    Time least = 0;
    Time median = 0;
    Time ninetyFifth = 0;
    Time most = 0;
};

/// By kind, in the order of codes and names.
std::vector<Latency> latencies(const std::vector<Exchange>& exchanges);

std::string tableHead();
/// One line; with the messages beneath it when they are wanted.
std::string tableRow(const Exchange& exchange, bool withMessages);
std::string tableFoot(const Report& report);

/// One document on one line.
std::string jsonOf(const Exchange& exchange);
std::string jsonOf(const Report& report);

/// Of these documents.
QJsonObject exchangeSchema();
QJsonObject reportSchema();

std::string htmlPage(const Report& report);

} // namespace pdactl::log
