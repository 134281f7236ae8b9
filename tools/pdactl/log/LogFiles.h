#pragma once

#include <string>
#include <vector>

class QFile;

namespace pdactl::log {

/// A log with its rotated copies, as far as they exist, oldest first.
struct LogSet {
    std::string base;               ///< the name without a copy's number
    std::vector<std::string> files; ///< in the order in which they were written; empty for a missing one
    std::vector<std::string> gaps;  ///< what is missing between them, for people
};

/// How many rotated copies a log has at most.
constexpr int kMaxCopies = 5;

/// "PDA.log.3" for 3, the base itself for 0.
std::string copyName(const std::string& base, int number);

/// The oldest copy that exists; 0, the log itself, when there is none.
int oldestCopy(const std::string& base);

/// Whether an open file still has this name.
bool isNamed(const QFile& file, const std::string& path);

/// The logs that these names mean. A directory means the logs in it, a log's name the log with all its
/// copies, a copy's name only that. Throws Failure when there is nothing.
std::vector<LogSet> findLogs(const std::vector<std::string>& names);

/// A log's contents, without a gap inside each part. Begins again when it is rotated meanwhile. Throws
/// Failure.
std::vector<std::string> readLog(const LogSet& log);

/// Writes a file as a whole or not at all; only its group and its owner may read it. Throws Failure.
void writeWhole(const std::string& path, const std::string& bytes);

} // namespace pdactl::log
