#pragma once

#include "log/Exchange.h"

#include <QJsonObject>

#include <string>
#include <vector>

namespace pdactl::log {

/// What a log tells, ready to be shown.
struct Report {
    std::vector<std::string> files;
    std::vector<std::string> gaps;
    std::vector<Exchange> exchanges;
    bool isRedacted = true;
};

/// How an exchange is called: its member, or its message's type.
std::string callOf(const Exchange& exchange);

/// What is special about it, in short.
std::vector<std::string> remarksOf(const Exchange& exchange);

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

QJsonObject jsonOf(const Exchange& exchange);
QJsonObject jsonOf(const Report& report);

std::string htmlPage(const Report& report);

} // namespace pdactl::log
