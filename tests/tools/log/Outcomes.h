#pragma once

#include "Failure.h"
#include "LogLines.h"
#include "log/Entries.h"
#include "log/Redaction.h"
#include "log/Report.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace pdactl::log::test {

/// What the entries were read from.
inline std::string bytesOf(const std::vector<Entry>& entries) {
    std::string bytes;
    for (const Entry& entry : entries) {
        bytes += entry.head + entry.text + entry.lineEnd;
    }
    return bytes;
}

inline std::vector<Exchange> exchangesOf(const std::vector<Entry>& entries) {
    ExchangeBuilder builder;
    for (const Entry& entry : entries) {
        builder.add(entry);
    }
    builder.closeAll();
    std::vector<Exchange> exchanges = builder.takeFinished();
    std::optional<Time> end;
    putInOrder(exchanges, end);
    return exchanges;
}

/// What a log tells.
inline std::vector<Exchange> exchanges(const LogText& log) {
    return exchangesOf(readEntries(log.text()));
}

/// The only thing that it tells.
inline Exchange only(const LogText& log) {
    const std::vector<Exchange> found = exchanges(log);
    EXPECT_EQ(found.size(), 1U);
    return found.empty() ? Exchange() : found.front();
}

/// What is shown of exchanges as page, table and JSON.
inline std::string everyOutput(const std::vector<Exchange>& exchanges) {
    Report report;
    report.exchanges = exchanges;
    std::string text = htmlPage(report) + jsonOf(report);
    for (const Exchange& exchange : exchanges) {
        text += tableRow(exchange, true);
    }
    return text;
}

/// A log's entries without their secrets.
inline std::vector<Entry> redactedEntries(const std::string& log) {
    std::vector<Entry> entries = readEntries(log);
    Redactor().redact(entries);
    return entries;
}

/// A log's bytes without its secrets.
inline std::string redactedLog(const std::string& log) {
    return bytesOf(redactedEntries(log));
}

/// What an action fails with, which has to go with this exit code; "none" when it does not fail.
inline std::string failureOf(ExitCode exitCode, const std::function<void()>& action) {
    try {
        action();
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.exitCode(), exitCode);
        return failure.what();
    }
    return "none";
}

} // namespace pdactl::log::test
