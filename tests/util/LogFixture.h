#pragma once

#include "tests/util/Files.h"
#include "util/FileLog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

constexpr std::size_t kStampLength = 23; // "2026-01-02 03:04:05678 "
constexpr std::size_t kInfoLength = 11;  // "INFO     : "
constexpr long long kSizeLimit = 512000;

inline std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// True when the text has the shape of another one, in which "d" stands for any digit.
inline bool hasShape(std::string_view text, std::string_view shape) {
    return text.size() == shape.size() &&
           std::equal(shape.begin(), shape.end(), text.begin(), [](char expected, char actual) {
               return expected == 'd' ? actual >= '0' && actual <= '9' : actual == expected;
           });
}

/// A line as the log writes it: the level's word and the text after the stamp, empty if there is no stamp.
inline std::string withoutStamp(const std::string& line) {
    const bool stamped = hasShape(line.substr(0, kStampLength), "dddd-dd-dd dd:dd:ddddd ");
    return stamped ? line.substr(kStampLength) : std::string();
}

/// Makes a path that no file can be opened at, even by root.
inline void block(const std::string& path) {
    ASSERT_TRUE(std::filesystem::create_directory(path)) << path;
}

/// A log in a directory of its own.
class LogTest : public testing::Test {
protected:
    const std::string& directory() const { return m_directory.path(); }
    std::string file(const std::string& name = "PDA.log") const { return m_directory.file(name); }
    CFileLog& log() { return m_log; }

    bool open(const std::string& path) { return m_log.Open(path.c_str()); }
    bool add(const std::string& text, long level = pdalink::Info) {
        return m_log.AddLog(level, text.c_str());
    }

    std::string content(const std::string& name = "PDA.log") const { return readFile(file(name)); }
    std::vector<std::string> lines(const std::string& name = "PDA.log") const {
        return splitLines(content(name));
    }

    /// The only line of the file, without its stamp.
    std::string onlyText(const std::string& name = "PDA.log") const {
        const std::vector<std::string> all = lines(name);
        EXPECT_EQ(all.size(), 1U) << name;
        return all.size() == 1 ? withoutStamp(all.front()) : std::string();
    }

private:
    TemporaryDirectory m_directory;
    CFileLog m_log;
};
