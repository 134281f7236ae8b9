#include "Outcomes.h"
#include "PrivateDirectory.h"
#include "RotatedLog.h"

#include "log/LogFiles.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <numeric>
#include <string>
#include <vector>

namespace pdactl::log::test {

namespace {

using pdalink::test::readFile;
using pdalink::test::writeFile;

std::string contents(const LogSet& log) {
    const std::vector<std::string> parts = readLog(log);
    return std::accumulate(parts.begin(), parts.end(), std::string(),
                           [](const std::string& left, const std::string& right) {
                               return left.empty() ? right : left + "|" + right;
                           });
}

/// A log with three copies, of which each holds its own number.
RotatedLog fourFiles(const std::string& name) {
    RotatedLog log(name);
    for (const char* text : {"3", "2", "1"}) {
        log.append(text);
        log.rotate();
    }
    log.append("0");
    return log;
}

/// The contents of the logs that are found, one after the other.
std::string found(const std::vector<std::string>& names) {
    std::string all;
    for (const LogSet& log : findLogs(names)) {
        all += (all.empty() ? "" : ", ") + contents(log);
    }
    return all;
}

TEST(LogFiles, AreFoundByTheNamesOfLogsCopiesAndFolders) {
    const RotatedLog log = fourFiles("found");
    EXPECT_EQ(found({log.base()}), "3210");
    EXPECT_EQ(found({log.directory()}), "3210");
    EXPECT_EQ(found({log.directory() + "/"}), "3210");
    EXPECT_EQ(found({log.copy(1), log.copy(3), log.copy(2)}), "321");
    EXPECT_EQ(found({log.base(), log.copy(1), log.copy(2), log.copy(3), log.base()}), "3210");
    EXPECT_EQ(found({log.copy(2)}), "2");
    writeFile(log.directory() + "/PDA_T2.log", "T");
    EXPECT_EQ(found({log.directory()}), "3210, T");
    std::filesystem::remove(log.base());
    EXPECT_EQ(found({log.base()}), "321");
    std::filesystem::remove(log.copy(2));
    EXPECT_EQ(found({log.base()}), "3|1");
    EXPECT_EQ(findLogs({log.base()})[0].gaps,
              std::vector<std::string>{log.copy(2) + " is missing: what it held is not shown"});
}

TEST(LogFiles, NamesThatAreNothingSayWhatToDo) {
    const RotatedLog log("empty");
    EXPECT_NE(
        failureOf(LocalFailure, [&] { (void)findLogs({log.directory()}); }).find("There is no PDA.log in"),
        std::string::npos);
    for (const std::string& name : {log.base(), log.copy(3), std::string("/no/such/PDA.log")}) {
        const std::string failure = failureOf(LocalFailure, [&] { (void)findLogs({name}); });
        EXPECT_NE(failure.find("There is no '" + name + "'"), std::string::npos) << failure;
        EXPECT_NE(failure.find("log/PDA.log"), std::string::npos) << failure;
    }
}

TEST(LogFiles, AreWrittenWholeOrNotAtAll) {
    const RotatedLog log("written");
    const std::string path = log.directory() + "/out";
    writeFile(path, "old");
    (void)::umask(022);
    writeWhole(path, "new");
    EXPECT_EQ(readFile(path), "new");
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0640U);
    EXPECT_NE(failureOf(LocalFailure, [&] { writeWhole("/no/such/folder/out", "x"); })
                  .find("Cannot write '/no/such/folder/out'"),
              std::string::npos);
    const std::string folder = log.directory() + "/folder";
    std::filesystem::create_directory(folder);
    EXPECT_NE(failureOf(LocalFailure, [&] { writeWhole(folder, "x"); }), "none");
    std::size_t files = 0;
    for ([[maybe_unused]] const auto& file : std::filesystem::directory_iterator(log.directory())) {
        ++files;
    }
    EXPECT_EQ(files, 2U) << "a temporary file is left";
}

} // namespace

} // namespace pdactl::log::test
