#include "BareClient.h"
#include "PrivateDirectory.h"
#include "ProcessFacts.h"
#include "ServedTerminal.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using pdalink::test::ProgramResult;
using pdalink::test::readFile;
using pdalink::test::runProgram;
using pdalink::test::scratchDirectory;
using pdalink::test::waitUntil;
using pdasim::test::BareClient;
using pdasim::test::contains;
using pdasim::test::enumerateHidraw;
using pdasim::test::FoundDevice;
using pdasim::test::pdasim;
using pdasim::test::Program;
using pdasim::test::request;
using pdasim::test::RunningProgram;
using pdasim::test::ServedTerminal;
using Texts = std::vector<std::string>;

const std::string Client = PDASIM_BARE_CLIENT;

TEST(Serve, PrintsTwoSettingsThenThatItIsReady) {
    ServedTerminal served;
    const Texts& lines = served.output();
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0].substr(0, 19), "export LD_PRELOAD='");
    EXPECT_TRUE(contains(lines[0], "libumockdev-preload.so.0'"));
    EXPECT_EQ(lines[1], "export UMOCKDEV_DIR='" + served.folder() + "'");
    EXPECT_EQ(lines[2], "# terminal 1 at /dev/hidraw0, USB id 1209:0001");
    EXPECT_EQ(lines[3].substr(0, 7), "# ready");
}

/** A line of shell: a client that is built with the address sanitizer bears the preloaded library. */
const std::string SanitizedToo = "export ASAN_OPTIONS=verify_asan_link_order=0\n";

TEST(Serve, OtherProgramsFindTheTerminalWithTheseSettings) {
    ServedTerminal served;
    const std::string settings = served.output()[0] + "\n" + served.output()[1] + "\n";
    const ProgramResult result = runProgram({"sh", "-c", settings + SanitizedToo + Client + " good"});
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_TRUE(contains(result.output, "<Ex_RetCode>000000</Ex_RetCode>"));
    EXPECT_EQ(served.end(), 0);
}

TEST(Serve, AFileWithTheSettingsIsThereWhileItRuns) {
    const std::string path = scratchDirectory() + "/settings";
    ServedTerminal served({"--env-file", path});
    EXPECT_EQ(readFile(path), served.output()[0] + "\n" + served.output()[1] + "\n");
    const ProgramResult result =
        runProgram({"sh", "-c", ". " + path + "\n" + SanitizedToo + Client + " good"});
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(served.end(), 0);
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(Serve, EndsOnEachSignalThatAsksForIt) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        ServedTerminal served;
        served.program().signal(number);
        EXPECT_EQ(served.program().wait(), 0) << number;
        EXPECT_FALSE(std::filesystem::exists(served.folder())) << number;
    }
}

TEST(Serve, EndsWithItsParent) {
    const std::string pidFile = scratchDirectory() + "/pid";
    const std::string output = scratchDirectory() + "/output";
    RunningProgram parent(
        {"sh", "-c", Program + " serve > " + output + " & echo $! > " + pidFile + "; wait"});
    ASSERT_TRUE(waitUntil([&output] { return contains(readFile(output), "# ready"); }));
    const pid_t served = std::stoi(readFile(pidFile));
    ASSERT_EQ(::kill(served, 0), 0);
    parent.signal(SIGKILL);
    (void)parent.wait();
    // Whoever inherits it may be slow to take its end; what it holds is gone at once.
    const std::string node = "/proc/" + std::to_string(served) + "/fd/0";
    EXPECT_TRUE(
        waitUntil([&node] { return !std::filesystem::exists(std::filesystem::symlink_status(node)); }));
}

TEST(Serve, FailsAtTheEndWhenAHostBrokeTheProtocol) {
    ServedTerminal served;
    BareClient host("/dev/hidraw0");
    ASSERT_GT(host.write(request("8001", 1)), 0);
    EXPECT_FALSE(host.readText().empty());
    ASSERT_GT(host.write(request("8001", 3)), 0);
    EXPECT_FALSE(host.readText().empty());
    EXPECT_EQ(served.end(), 70);
}

TEST(Serve, SeveralTerminalsCountTheirProductIdsUp) {
    ServedTerminal served({"--terminals", "3", "--pid", "00fe"});
    const std::vector<FoundDevice> found = enumerateHidraw();
    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(found[0].productId, "00fe");
    EXPECT_EQ(found[1].productId, "00ff");
    EXPECT_EQ(found[2].productId, "0100");
    EXPECT_EQ(found[0].serial, "SIM0000001");
    EXPECT_EQ(found[2].serial, "SIM0000001-3");
    BareClient host("/dev/hidraw1");
    ASSERT_GT(host.write(request("8001", 1)), 0);
    EXPECT_TRUE(contains(host.readText(), "<Ex_EIMI>860123456789012-2</Ex_EIMI>"));
}

TEST(Serve, TwoOfThemLiveSideBySide) {
    ServedTerminal first;
    ServedTerminal second;
    EXPECT_NE(first.folder(), second.folder());
    (void)first.ctl({"teller", "T1"});
    EXPECT_TRUE(contains(first.ctl({"state"}), "\"registered\": \"T1\""));
    EXPECT_FALSE(contains(second.ctl({"state"}), "\"registered\": \"T1\""));
}

TEST(Serve, RefusesWhatItCannotDo) {
    const std::string taken = scratchDirectory() + "/taken";
    const ServedTerminal served({"--control", taken});
    struct Case {
        Texts options;
        int exitCode;
        std::string reason;
    };
    const std::vector<Case> cases = {
        {{"--terminals", "0"}, 64, "--terminals"},
        {{"--terminals", "10"}, 64, "--terminals"},
        {{"--terminals", "2", "--pid", "ffff"}, 64, "--terminals: there are no product ids behind ffff"},
        {{"--control", taken}, 73, "cannot listen at " + taken + ", which is taken (give another path): "},
        {{"--control", "/no/such/folder/s"}, 73, "cannot listen at /no/such/folder/s: No such file"},
        {{"--control", std::string(120, 'x')}, 73, "at most 107 bytes make a socket's path"},
        {{"--env-file", "/no/such/folder/e"}, 73, "cannot write the settings to /no/such/folder/e: No such"},
        {{"--scenario", "no-such"}, 65, "there is no readable file \"no-such\""},
    };
    for (const Case& wrong : cases) {
        Texts arguments = {"serve"};
        arguments.insert(arguments.end(), wrong.options.begin(), wrong.options.end());
        const ProgramResult result = pdasim(arguments);
        EXPECT_EQ(result.exitCode, wrong.exitCode) << wrong.reason;
        EXPECT_TRUE(contains(result.errors, wrong.reason)) << result.errors;
        EXPECT_FALSE(contains(result.output, "# ready"));
    }
}

TEST(Serve, TakesOverTheSocketOfOneThatWasKilled) {
    const std::string path = scratchDirectory() + "/socket";
    {
        ServedTerminal killed({"--control", path});
        killed.program().signal(SIGKILL);
        (void)killed.program().wait();
        std::filesystem::remove_all(killed.folder());
    }
    ASSERT_TRUE(std::filesystem::exists(path));
    ServedTerminal next({"--control", path});
    EXPECT_EQ(pdasim({"ctl", "--control", path, "state"}).exitCode, 0);
    EXPECT_EQ(next.end(), 0);
    EXPECT_FALSE(std::filesystem::exists(path));
}

} // namespace
