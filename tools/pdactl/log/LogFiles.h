#pragma once

#include <string>
#include <vector>

namespace pdactl::log {

/** A log with its rotated copies, as far as they are there, oldest first. */
struct LogSet {
    std::string base;               ///< the name without a copy's number
    std::vector<std::string> files; ///< in the order in which they were written
    std::vector<std::string> gaps;  ///< what misses between them, for people
};

/** How many rotated copies a log has at most. */
constexpr int MostCopies = 5;

/** "PDA.log.3" for 3, the base itself for 0. */
std::string copyName(const std::string& base, int number);

/**
 * The logs that these names mean. A directory means the logs in it, a log's name the log with all its copies,
 * a copy's name only that. Throws Failure when there is nothing.
 */
std::vector<LogSet> findLogs(const std::vector<std::string>& names);

/** One log's contents. */
struct LogText {
    std::vector<std::string> parts; ///< without a gap inside each
};

/** Reads a log; when it is rotated meanwhile, begins again. Throws Failure. */
LogText readLog(const LogSet& log);

/** Writes a file as a whole or not at all. Throws Failure. */
void writeWhole(const std::string& path, const std::string& bytes);

} // namespace pdactl::log
