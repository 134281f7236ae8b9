#include "OutputCapture.h"
#include "PrivateDirectory.h"
#include "util/FileLog.h"
#include "util/LockConfig.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;
using namespace pdalink::test;

const std::string kCreated = "文件夹log创建成功";

std::string logDirectory() {
    return privateDirectory() + "/log";
}

mode_t modeOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777U;
}

/// The ids that an ini file gives, "vid/pid".
std::string idsOf(const std::string& ini) {
    writeIni(ini);
    EXPECT_TRUE(LoadLockConfig());
    return (g_Vid + QLatin1Char('/') + g_Pid).toStdString();
}

std::vector<std::string> qtLinesOfLoading() {
    const QtOutputCapture capture;
    LoadLockConfig();
    return capture.lines();
}

TEST(Configuration, GivesTheIdsFreedOfPrefixesAndLineEnds) {
    EXPECT_EQ(idsOf("VID=04d8\nPID=003f\n"), "04d8/003f");
    EXPECT_EQ(idsOf("VID=0x04d8\nPID=0x003F\n"), "04d8/003F");
    EXPECT_EQ(idsOf("VID=0x04d8\r\nPID = 003f \r\n"), "04d8/003f ");
    EXPECT_EQ(idsOf("VID=04d8\r\nPID=003f\r\n"), "04d8/003f");
    EXPECT_EQ(idsOf("VID=0X04d8\nPID=003f\n"), "0X04d8/003f");
    EXPECT_EQ(idsOf("# VID=1\nVID=2\nvid=3\nMY_VID=4\nPID=5\nVID=6\n"), "6/5");
    EXPECT_EQ(idsOf("PID=3\n"), "/3") << "an id that is not stated any more";
    EXPECT_EQ(idsOf(""), "/");
    EXPECT_EQ(idsOf("[usb]\n"), "/");
    EXPECT_EQ(idsOf("VID=\xE9\xFF\nPID=%s%n\n"), "éÿ/%s%n") << "Latin-1";
    EXPECT_EQ(countLogLines("Vid/Pid: éÿ/%s%n  logpath:" + logPath()), 1);
}

TEST(Configuration, PrintsTheLibrarysPath) {
    const StandardOutputCapture capture;
    EXPECT_TRUE(LoadLockConfig());
    EXPECT_EQ(capture.text(), privateDirectory() + "/libpdalink.so.1\n");
    EXPECT_TRUE(LoadLockConfig());
    EXPECT_EQ(capture.lines().size(), 2U) << "at every loading";
}

TEST(Configuration, TellsItsPathAndTheNewDirectoryWithoutQuotes) {
    const std::string path = "inipath: " + privateDirectory() + "/PDAConfigure.ini";
    EXPECT_EQ(qtLinesOfLoading(), (std::vector<std::string>{path, kCreated}));
    EXPECT_EQ(qtLinesOfLoading(), std::vector<std::string>{path}) << "the directory is there already";
}

TEST(Configuration, OpensTheLogAndLogsTheIds) {
    EXPECT_EQ(idsOf("VID=0x04d8\r\nPID=003f\n"), "04d8/003f");
    const std::vector<LogLine> log = readLog();
    ASSERT_EQ(log.size(), 1U);
    EXPECT_EQ(log[0].text, "Vid/Pid: 04d8/003f  logpath:" + logPath());
    EXPECT_EQ(log[0].levelWord, "INFO     : ");
    EXPECT_EQ(logPath(), logDirectory() + "/PDA.log");
}

TEST(LogDirectory, IsCreatedForOwnerAndGroupOnlyNarrowedByTheUmask) {
    for (const mode_t mask : {0U, 077U}) {
        fs::remove_all(logDirectory());
        const mode_t before = umask(mask);
        EXPECT_TRUE(LoadLockConfig());
        umask(before);
        EXPECT_EQ(modeOf(logDirectory()), 0750U & ~mask);
        EXPECT_EQ(modeOf(logPath()), 0640U & ~mask);
    }
    ASSERT_EQ(chmod(logDirectory().c_str(), 0777), 0);
    EXPECT_TRUE(LoadLockConfig());
    EXPECT_EQ(modeOf(logDirectory()), 0777U) << "one that is there keeps its mode";
}

TEST(LogDirectory, ThatIsAFileLeavesTheLogClosed) {
    writeFile(logDirectory(), "no directory");
    const std::vector<std::string> lines = qtLinesOfLoading();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[1], kCreated) << "written whether or not it succeeded";
    EXPECT_TRUE(LoadLockConfig()) << "the configuration file could be read";
    EXPECT_FALSE(g_PDA_Log.AddLog(pdalink::Message, "lost"));
    EXPECT_EQ(readFile(logDirectory()), "no directory");
    EXPECT_FALSE(g_Vid.isEmpty());
}

TEST(LogDirectory, MayBeALinkToADirectory) {
    fs::create_directory(scratchDirectory() + "/elsewhere");
    fs::create_directory_symlink(scratchDirectory() + "/elsewhere", logDirectory());
    EXPECT_EQ(qtLinesOfLoading().size(), 1U);
    EXPECT_TRUE(fs::exists(scratchDirectory() + "/elsewhere/PDA.log"));
}

TEST(MissingConfiguration, IsReportedAndMayComeBack) {
    removeIni();
    const StandardOutputCapture output;
    const std::vector<std::string> expected{"inipath: " + privateDirectory() + "/PDAConfigure.ini"};
    EXPECT_EQ(qtLinesOfLoading(), expected);
    EXPECT_EQ(output.text(), privateDirectory() + "/libpdalink.so.1\n");
    EXPECT_FALSE(fs::exists(logDirectory()));
    EXPECT_FALSE(g_PDA_Log.AddLog(pdalink::Message, "lost"));
    EXPECT_FALSE(LoadLockConfig());
    EXPECT_EQ(idsOf("VID=1\nPID=2\n"), "1/2");
    EXPECT_EQ(readLog().size(), 1U);
}

TEST(MissingConfiguration, LeavesIdsAndLogAsTheyWere) {
    EXPECT_EQ(idsOf("VID=1\nPID=2\n"), "1/2");
    removeIni();
    EXPECT_FALSE(LoadLockConfig());
    EXPECT_EQ((g_Vid + g_Pid).toStdString(), "12");
    EXPECT_TRUE(g_PDA_Log.AddLog(pdalink::Message, "still open"));
    EXPECT_EQ(readLogTexts().size(), 2U);
    EXPECT_EQ(countLogLines("still open"), 1);
}

} // namespace
