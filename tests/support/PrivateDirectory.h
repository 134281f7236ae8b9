#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace pdalink::test {

/// The directory that holds this test process's library, its PDAConfigure.ini and its log; without a last
/// "/".
const std::string& privateDirectory();

/// A directory for whatever else a test wants to write; it goes with the process.
const std::string& scratchDirectory();

/// Replaces the PDAConfigure.ini of this process.
void writeIni(std::string_view text);
void removeIni();

/// One entry of the log.
struct LogLine {
    /// "2026-01-02 03:04:05678", without the blank after it.
    std::string stamp;
    /// The level word with its trailing blank, "INFO     : " for example.
    std::string levelWord;
    /// 1 message, 2 error, 3 warning, 4 info.
    int level = 0;
    /// Everything after the level word, line ends inside the text included, the last one not.
    std::string text;
};

/// Takes a log apart. Lines that do not begin with a stamp belong to the entry before them.
std::vector<LogLine> parseLog(std::string_view log);

/// The path of this process's log, whether it is there or not.
std::string logPath();
/// The bytes of this process's log; empty when there is none.
std::string readLogText();
std::vector<LogLine> readLog();
/// The texts of one level, of all levels for 0.
std::vector<std::string> readLogTexts(int level = 0);
/// How many entries have exactly this text.
int countLogLines(std::string_view text);

/// The bytes of any file; empty when it is not there.
std::string readFile(const std::string& path);
void writeFile(const std::string& path, std::string_view bytes);

} // namespace pdalink::test
