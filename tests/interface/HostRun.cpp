#include "tests/interface/HostRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

namespace pdalink::test {

namespace fs = std::filesystem;

const std::string kLibrary = "libpdalink.so.1";

std::string testDirectory() {
    const testing::TestInfo* const test = testing::UnitTest::GetInstance()->current_test_info();
    return scratchDirectory() + "/" + test->test_suite_name() + "." + test->name();
}

HostDirectory::HostDirectory(const std::string& name) : m_path(testDirectory() + "/" + name) {
    fs::create_directories(m_path);
}

HostDirectory& HostDirectory::withLibrary() {
    return with(PDALINK_LIBRARY_FILE, kLibrary);
}

HostDirectory& HostDirectory::withIni(const std::string& vid, const std::string& pid) {
    writeFile(file("PDAConfigure.ini"), "VID=" + vid + "\nPID=" + pid + "\n");
    return *this;
}

HostDirectory& HostDirectory::with(const std::string& original, const std::string& name) {
    fs::copy_file(original, file(name));
    return *this;
}

std::vector<LogLine> HostDirectory::log() const {
    return parseLog(readFile(file("log/PDA.log")));
}

std::string HostDirectory::loggedIds() const {
    const std::vector<LogLine> lines = log();
    return lines.empty() ? std::string() : lines[0].text.substr(0, lines[0].text.find("  logpath:"));
}

std::vector<std::string> Outcome::lines() const {
    std::vector<std::string> lines;
    std::istringstream stream(output);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string Outcome::valueOf(const std::string& prefix) const {
    for (const std::string& line : lines()) {
        if (line.compare(0, prefix.size(), prefix) == 0) {
            return line.substr(prefix.size());
        }
    }
    ADD_FAILURE() << "no line \"" << prefix << "\" in:\n" << output << errors;
    return {};
}

std::ptrdiff_t Outcome::count(const std::string& line) const {
    const std::vector<std::string> all = lines();
    return std::count(all.begin(), all.end(), line);
}

Outcome runIn(const std::string& directory, const std::vector<std::string>& command,
              const std::map<std::string, std::string>& environment) {
    std::vector<std::string> whole{"/usr/bin/env", "-C", directory};
    whole.insert(whole.end(), command.begin(), command.end());
    return {runProgram(whole, environment)};
}

} // namespace pdalink::test
