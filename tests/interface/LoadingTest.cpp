#include "PrivateDirectory.h"
#include "TestBed.h"
#include "tests/interface/HostRun.h"
#include "tests/support/OneLine.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

// What happens when a host loads the library in its own ways. Every host is a program of its own.

namespace {

namespace fs = std::filesystem;
using namespace pdalink::test;

const std::string kUnknownCode = R"({"transCode":"700000"})";

/// A host whose own functions are named like the library's makes a request.
Outcome call(const std::string& host, const std::string& library, const std::string& directory = "/") {
    Outcome outcome = runIn(directory, {host, library, kUnknownCode});
    EXPECT_EQ(outcome.output.find("the host's"), std::string::npos) << outcome.output;
    return outcome;
}

TEST(Loading, ByAnAbsoluteNameUsesTheLibrarysDirectory) {
    HostDirectory library("library");
    library.withLibrary().withIni("7");
    const HostDirectory elsewhere("elsewhere");
    const Outcome result = call(OWN_NAMES_HOST, library.file(kLibrary), elsewhere.path());
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(result.lines().front(), library.file(kLibrary));
    EXPECT_EQ(result.output.find("exec file"), std::string::npos);
    EXPECT_EQ(result.valueOf("response: "), "{}");
    EXPECT_EQ(library.loggedIds(), "Vid/Pid: 7/1");
    EXPECT_TRUE(fs::is_empty(elsewhere.path()));
}

/// A library in one directory, the host's executable in another, each with an ini of its own.
class RelativeLoading : public testing::Test {
protected:
    RelativeLoading() {
        m_library.withLibrary().withIni("beside the lib");
        m_executable.with(OWN_NAMES_HOST, "host").withIni("beside the host");
    }

    HostDirectory& library() { return m_library; }
    HostDirectory& executable() { return m_executable; }
    std::string host() const { return m_executable.file("host"); }

private:
    HostDirectory m_library{"library"};
    HostDirectory m_executable{"executable"};
};

TEST_F(RelativeLoading, FromTheCurrentDirectoryUsesTheExecutablesDirectory) {
    const Outcome result = call(host(), "./" + kLibrary, library().path());
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    ASSERT_GE(result.lines().size(), 2U);
    EXPECT_EQ(result.lines()[0], "./" + kLibrary);
    EXPECT_EQ(result.lines()[1], "exec file: " + host());
    EXPECT_EQ(executable().loggedIds(), "Vid/Pid: beside the host/1");
    EXPECT_EQ(executable().log()[0].text,
              "Vid/Pid: beside the host/1  logpath:" + executable().file("log/PDA.log"));
    EXPECT_FALSE(fs::exists(library().file("log")));
    EXPECT_NE(result.errors.find("inipath: " + executable().file("PDAConfigure.ini") + "\n"),
              std::string::npos)
        << result.errors;
}

TEST_F(RelativeLoading, FromADirectoryBelowKeepsThePathBelowTheExecutable) {
    HostDirectory below("executable/library");
    below.withIni("below the host");
    const Outcome result = call(host(), "./library/" + kLibrary, testDirectory());
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(below.loggedIds(), "Vid/Pid: below the host/1");
    EXPECT_FALSE(fs::exists(library().file("log")));
}

TEST_F(RelativeLoading, WithoutTheCurrentDirectoryInFrontUsesTheLibrarysDirectory) {
    for (const auto& [name, directory] : {std::pair("library/" + kLibrary, testDirectory()),
                                          std::pair("../library/" + kLibrary, executable().path())}) {
        const Outcome result = call(host(), name, directory);
        EXPECT_EQ(result.exitCode, 0) << result.errors;
        EXPECT_EQ(result.lines().front(), name);
        EXPECT_EQ(result.output.find("exec file"), std::string::npos);
        EXPECT_EQ(library().loggedIds(), "Vid/Pid: beside the lib/1");
        EXPECT_FALSE(fs::exists(executable().file("log")));
        fs::remove_all(library().file("log"));
    }
}

TEST(Loading, FromAVeryLongPathStillAnswers) {
    std::string name = "long";
    for (int i = 0; i < 12; ++i) {
        name += "/" + std::string(120, 'd');
    }
    HostDirectory library(name);
    library.withLibrary().withIni("7");
    const Outcome result = call(OWN_NAMES_HOST, library.file(kLibrary));
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(result.valueOf("response: "), "{}");
    EXPECT_TRUE(fs::is_empty(library.file("log"))) << "a log path of this length is refused";
}

TEST(Loading, WithoutAConfigurationStillAnswers) {
    HostDirectory library("library");
    library.withLibrary();
    const Outcome result = call(OWN_NAMES_HOST, library.file(kLibrary));
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(result.valueOf("result: "), "0");
    EXPECT_EQ(result.valueOf("response: "), "{}");
    EXPECT_FALSE(fs::exists(library.file("log")));
}

TEST(Loading, WithATooLongIdEndsTheHostWithOneLine) {
    HostDirectory library("library");
    library.withLibrary().withIni("1234567890123456");
    const Outcome result = call(OWN_NAMES_HOST, library.file(kLibrary));
    EXPECT_EQ(result.exitCode, 128 + SIGABRT);
    const std::size_t line = result.errors.find("PDAConfigure.ini: ");
    ASSERT_NE(line, std::string::npos) << result.errors;
    EXPECT_THAT(result.errors.substr(line), isOneLine());
}

TEST(Loading, AloneTouchesNothing) {
    HostDirectory library("library");
    library.withLibrary().withIni("7");
    const HostDirectory current("current");
    // What Qt and its own libraries leave behind cannot be told by name any more once they are unloaded.
    const Outcome result =
        runIn(current.path(), {LOADING_HOST, library.file(kLibrary)}, {{"LSAN_OPTIONS", "detect_leaks=0"}});
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(result.valueOf("loaded threads: "), result.valueOf("before threads: "));
    EXPECT_EQ(result.valueOf("loaded descriptors: "), result.valueOf("before descriptors: "));
    EXPECT_EQ(result.valueOf("unloaded threads: "), result.valueOf("before threads: "));
    EXPECT_EQ(result.valueOf("unloaded descriptors: "), result.valueOf("before descriptors: "));
    EXPECT_EQ(result.valueOf("still loaded: "), "no");
    EXPECT_TRUE(fs::is_empty(current.path()));
    EXPECT_FALSE(fs::exists(library.file("log")));
    EXPECT_EQ(result.lines().size(), 7U) << "only the host itself prints:\n" << result.output;
}

TEST(Loading, LeavesAHostItsOwnReceiverFunction) {
    HostDirectory library("library");
    library.withLibrary().withIni("1209");
    pdasim::TestBed testBed;
    pdasim::DeviceDescription device;
    device.productId = "1";
    testBed.addDevice(device);
    const Outcome result = runIn("/", {OWN_NAMES_HOST, library.file(kLibrary), R"({"transCode":"600002"})"},
                                 testBed.environment());
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(result.output.find("the host's"), std::string::npos) << result.output;
    EXPECT_NE(readFile(library.file("log/PDA.log")).find("port open success"), std::string::npos);
}

TEST(Linking, SharesItsStateWithAHostThatHoldsCopiesOfIt) {
    HostDirectory library("library");
    library.withLibrary().withIni("7");
    const pdasim::TestBed noDevices;
    std::map<std::string, std::string> environment = noDevices.environment();
    environment["LD_LIBRARY_PATH"] = library.path();
    const Outcome result = runIn("/", {PLAIN_DECLARATIONS_HOST, R"({"transCode":"600002"})"}, environment);
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    ASSERT_EQ(result.valueOf("m_SeqNo is in: "), PLAIN_DECLARATIONS_HOST) << "the host holds no copy";
    EXPECT_EQ(result.valueOf("before m_SeqNo: "), "0");
    EXPECT_EQ(result.valueOf("before m_PerformTasksYN: "), "0");
    EXPECT_EQ(result.valueOf("before pda_ScanState: "), "0");
    EXPECT_EQ(result.valueOf("before g_fd: "), "-1");
    EXPECT_EQ(result.valueOf("before g_hidRun: "), "0");
    EXPECT_EQ(result.valueOf("before g_isBufferCome: "), "0");
    EXPECT_EQ(result.valueOf("after m_SeqNo: "), "42");
    EXPECT_EQ(result.valueOf("after m_PerformTasksYN: "), "1") << "left up by the message that was not sent";
    EXPECT_EQ(result.valueOf("after g_fd: "), "-1");
    EXPECT_NE(readFile(library.file("log/PDA.log")).find("<Ex_SeqNo>0042</Ex_SeqNo>"), std::string::npos);
}

} // namespace
