#include "OutputCapture.h"
#include "PrivateDirectory.h"
#include "ProcessFacts.h"
#include "ProgramRun.h"

#include <QDebug>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;
using pdalink::test::LogLine;
using pdalink::test::ProgramResult;
using Texts = std::vector<std::string>;

/// What only happens when another test of this program runs this one in a process of its own.
bool isRunAs(const std::string& role) {
    const char* chosen = std::getenv("PDALINK_TEST_ROLE");
    return chosen != nullptr && chosen == role;
}

ProgramResult runThisProgramAs(const std::string& role) {
    // Without the marker the program supervises itself, as when a tester starts it.
    return pdalink::test::runProgram(
        {"env", "-u", "PDALINK_TEST_LIBRARY_DIRECTORY", "PDALINK_TEST_ROLE=" + role,
         std::filesystem::read_symlink("/proc/self/exe"), "--gtest_filter=Harness." + role});
}

std::string directoryTold(const ProgramResult& result) {
    const std::string mark = "directory: ";
    const std::size_t begin = result.output.find(mark);
    return begin == std::string::npos
               ? std::string()
               : result.output.substr(begin + mark.size(),
                                      result.output.find('\n', begin) - begin - mark.size());
}

TEST(Harness, EndsWell) {
    std::printf("directory: %s\n", pdalink::test::privateDirectory().c_str());
}

TEST(Harness, Fails) {
    EXPECT_FALSE(isRunAs("Fails"));
}

TEST(Harness, Crashes) {
    std::printf("directory: %s\n", pdalink::test::privateDirectory().c_str());
    (void)std::fflush(stdout);
    if (isRunAs("Crashes")) {
        // SIGKILL cannot be turned into anything else by a sanitizer.
        (void)std::raise(SIGKILL);
    }
}

TEST(Harness, PassesTheResultOnAndCleansUp) {
    EXPECT_EQ(runThisProgramAs("Fails").exitCode, 1);
    const ProgramResult well = runThisProgramAs("EndsWell");
    EXPECT_EQ(well.exitCode, 0) << well.errors;
    EXPECT_NE(directoryTold(well), "");
    EXPECT_NE(directoryTold(well), pdalink::test::privateDirectory());
    EXPECT_FALSE(std::filesystem::exists(directoryTold(well)));
    const ProgramResult crash = runThisProgramAs("Crashes");
    EXPECT_EQ(crash.exitCode, 128 + SIGKILL);
    EXPECT_NE(directoryTold(crash), "");
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::path(directoryTold(crash)).parent_path()));
}

TEST(Harness, FurnishesAPrivateDirectory) {
    const std::string& directory = pdalink::test::privateDirectory();
    EXPECT_EQ(pdalink::test::readFile(directory + "/PDAConfigure.ini"), "VID=0x1209\nPID=0x0001\n");
    pdalink::test::writeIni("VID=1\n");
    EXPECT_EQ(pdalink::test::readFile(directory + "/PDAConfigure.ini"), "VID=1\n");
    pdalink::test::removeIni();
    EXPECT_FALSE(std::filesystem::exists(directory + "/PDAConfigure.ini"));
    EXPECT_EQ(std::filesystem::read_symlink("/proc/self/exe").parent_path(), directory);
    EXPECT_EQ(std::getenv("TMPDIR"), pdalink::test::scratchDirectory());
}

TEST(Harness, TakesALogApart) {
    const std::vector<LogLine> log =
        pdalink::test::parseLog("2026-01-02 03:04:05678 MESSAGE  : [GetInfo] begin\n"
                                "2026-01-02 03:04:05679 INFO     :  VID/PID: 1 2\n"
                                "\n"
                                "2026-01-02 03:04:05680 WARNING  : two\n"
                                "lines\n"
                                "2026-01-02 03:04:05681 ERROR  : \n");
    ASSERT_EQ(log.size(), 4U);
    EXPECT_EQ(log[0].stamp, "2026-01-02 03:04:05678");
    EXPECT_EQ(log[0].levelWord, "MESSAGE  : ");
    EXPECT_EQ(log[0].level, 1);
    EXPECT_EQ(log[0].text, "[GetInfo] begin");
    EXPECT_EQ(log[1].level, 4);
    EXPECT_EQ(log[1].text, " VID/PID: 1 2\n");
    EXPECT_EQ(log[2].level, 3);
    EXPECT_EQ(log[2].text, "two\nlines");
    EXPECT_EQ(log[3].level, 2);
    EXPECT_EQ(log[3].text, "");
}

TEST(Harness, ReadsTheLogOfThisProcess) {
    EXPECT_EQ(pdalink::test::readLogText(), "");
    std::filesystem::create_directory(pdalink::test::privateDirectory() + "/log");
    pdalink::test::writeFile(pdalink::test::logPath(), "2026-01-02 03:04:05678 INFO     : a\n"
                                                       "2026-01-02 03:04:05678 MESSAGE  : b\n"
                                                       "2026-01-02 03:04:05678 INFO     : a\n");
    EXPECT_EQ(pdalink::test::readLogTexts(), (Texts{"a", "b", "a"}));
    EXPECT_EQ(pdalink::test::readLogTexts(1), Texts{"b"});
    EXPECT_EQ(pdalink::test::countLogLines("a"), 2);
}

TEST(Harness, CapturesBothOutputs) {
    const pdalink::test::QtOutputCapture qt;
    const pdalink::test::StandardOutputCapture standard;
    std::printf("one\n");
    qDebug().noquote() << "two";
    EXPECT_EQ(standard.lines(), Texts{"one"});
    EXPECT_EQ(qt.lines(), Texts{"two"});
    std::printf("three");
    EXPECT_EQ(standard.text(), "one\nthree");
}

TEST(Harness, MeasuresCpuTimeOfThreads) {
    const auto before = pdalink::test::threadCpuTime();
    const auto processBefore = pdalink::test::processCpuTime();
    while (pdalink::test::threadCpuTime() - before < 20ms) {
    }
    // The two clocks are read one after the other and need not agree to the microsecond.
    EXPECT_GE(pdalink::test::processCpuTime() - processBefore, 15ms);
    EXPECT_GE(pdalink::test::threadCpuTime(pdalink::test::threadIds().front()), 15ms);
    EXPECT_EQ(static_cast<std::size_t>(pdalink::test::threadCount()), pdalink::test::threadIds().size());
}

} // namespace
