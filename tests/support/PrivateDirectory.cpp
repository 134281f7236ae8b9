#include "PrivateDirectory.h"

#include "Harness.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace pdalink::test {

namespace {

constexpr std::size_t kStampSize = 22;
constexpr std::string_view kStampShape = "dddd-dd-dd dd:dd:ddddd";

struct LevelWord {
    int level;
    std::string_view word;
};
constexpr std::array<LevelWord, 4> kLevelWords = {
    {{1, "MESSAGE  : "}, {2, "ERROR  : "}, {3, "WARNING  : "}, {4, "INFO     : "}}};

std::string fromHarness(const char* variable) {
    const char* value = std::getenv(variable);
    if (value == nullptr) {
        throw std::logic_error("the test runs without its harness");
    }
    return value;
}

bool beginsWithStamp(std::string_view line) {
    if (line.size() <= kStampSize || line[kStampSize] != ' ') {
        return false;
    }
    return std::equal(kStampShape.begin(), kStampShape.end(), line.begin(), [](char shape, char character) {
        return shape == 'd' ? character >= '0' && character <= '9' : shape == character;
    });
}

LogLine parseEntry(std::string_view line) {
    LogLine entry;
    entry.stamp = std::string(line.substr(0, kStampSize));
    std::string_view rest = line.substr(kStampSize + 1);
    for (const LevelWord& known : kLevelWords) {
        if (rest.substr(0, known.word.size()) == known.word) {
            entry.level = known.level;
            entry.levelWord = std::string(known.word);
            rest.remove_prefix(known.word.size());
            break;
        }
    }
    entry.text = std::string(rest);
    return entry;
}

} // namespace

const std::string& privateDirectory() {
    static const std::string directory = fromHarness(kLibraryDirectoryVariable);
    return directory;
}

const std::string& scratchDirectory() {
    static const std::string directory = fromHarness(kScratchDirectoryVariable);
    return directory;
}

void writeIni(std::string_view text) {
    writeFile(privateDirectory() + "/PDAConfigure.ini", text);
}

void removeIni() {
    std::filesystem::remove(privateDirectory() + "/PDAConfigure.ini");
}

std::vector<LogLine> parseLog(std::string_view log) {
    std::vector<LogLine> entries;
    while (!log.empty()) {
        const std::size_t end = std::min(log.find('\n'), log.size());
        const std::string_view line = log.substr(0, end);
        log.remove_prefix(std::min(end + 1, log.size()));
        if (beginsWithStamp(line)) {
            entries.push_back(parseEntry(line));
        } else if (!entries.empty()) {
            entries.back().text.append("\n").append(line);
        } else {
            entries.push_back({{}, {}, 0, std::string(line)});
        }
    }
    return entries;
}

std::string logPath() {
    return privateDirectory() + "/log/PDA.log";
}

std::string readLogText() {
    return readFile(logPath());
}

std::vector<LogLine> readLog() {
    return parseLog(readLogText());
}

std::vector<std::string> readLogTexts(int level) {
    std::vector<std::string> texts;
    for (LogLine& entry : readLog()) {
        if (level == 0 || entry.level == level) {
            texts.push_back(std::move(entry.text));
        }
    }
    return texts;
}

int countLogLines(std::string_view text) {
    const std::vector<std::string> texts = readLogTexts();
    return static_cast<int>(std::count(texts.begin(), texts.end(), text));
}

std::string readFile(const std::string& path) {
    // In one piece: logs of tens of megabytes, read character by character, take a sanitizer minutes.
    std::ifstream file(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

void writeFile(const std::string& path, std::string_view bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + path);
    }
}

} // namespace pdalink::test
