#pragma once

#include "Fuzz.h"

#include "log/Entries.h"
#include "log/Redaction.h"
#include "log/Report.h"

#include <optional>
#include <string>
#include <vector>

namespace fuzz {

/// What entries were read from.
inline std::string bytesOf(const std::vector<pdactl::log::Entry>& entries) {
    std::string bytes;
    for (const pdactl::log::Entry& entry : entries) {
        bytes += entry.head + entry.text + entry.lineEnd;
    }
    return bytes;
}

/// What entries tell.
inline pdactl::log::Report reportOf(const std::vector<pdactl::log::Entry>& entries) {
    pdactl::log::ExchangeBuilder builder;
    for (const pdactl::log::Entry& entry : entries) {
        builder.add(entry);
    }
    builder.closeAll();
    pdactl::log::Report report;
    report.exchanges = builder.takeFinished();
    std::optional<pdactl::log::Time> end;
    putInOrder(report.exchanges, end);
    return report;
}

} // namespace fuzz
