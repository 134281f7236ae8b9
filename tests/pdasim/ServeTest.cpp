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
using pdalink::test::writeFile;
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

const std::string kClient = PDASIM_BARE_CLIENT;

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

/// A line of shell: a client that is built with the address sanitizer bears the preloaded library.
const std::string kSanitizedToo = "export ASAN_OPTIONS=verify_asan_link_order=0\n";

TEST(Serve, AFileWithTheSettingsIsThereWhileItRuns) {
    const std::string path = scratchDirectory() + "/settings";
    ServedTerminal served({"--env-file", path});
    EXPECT_EQ(readFile(path), served.output()[0] + "\n" + served.output()[1] + "\n");
    const ProgramResult result =
        runProgram({"sh", "-c", ". " + path + "\n" + kSanitizedToo + kClient + " good"});
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(served.end(), 0);
    EXPECT_FALSE(std::filesystem::exists(path));
}

/// What it says about a file; it does not stay up when it refuses that.
ProgramResult serveInto(const std::string& path) {
    return runProgram({"timeout", "20", Program, "serve", "--env-file", path});
}

TEST(Serve, LeavesAFileAloneThatItDidNotWrite) {
    const std::string folder = scratchDirectory() + "/foreign";
    std::filesystem::create_directories(folder);
    const std::string path = folder + "/settings";
    const std::string settings = "export LD_PRELOAD='a'\nexport UMOCKDEV_DIR='b'\n";
    for (const std::string& text :
         {std::string("\n"), std::string("precious\n"), "# mine\n" + settings, settings + "export MINE=1\n",
          std::string("export LD_PRELOAD='a'\nexport OTHER='b'\n")}) {
        writeFile(path, text);
        const ProgramResult result = serveInto(path);
        EXPECT_EQ(result.exitCode, 73) << text;
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "pdasim: cannot write the settings to " + path +
                                     ", which pdasim did not write: File exists. Give --env-file another "
                                     "path, or take that away first\n");
        EXPECT_EQ(readFile(path), text);
    }
    const std::string link = folder + "/link";
    writeFile(path, settings);
    std::filesystem::create_symlink(path, link);
    EXPECT_EQ(serveInto(link).exitCode, 73);
    EXPECT_EQ(serveInto(folder).exitCode, 73);
    EXPECT_EQ(std::filesystem::read_symlink(link), path);
    EXPECT_EQ(readFile(path), settings);
}

TEST(Serve, TakesAnEmptyFile) {
    const std::string path = scratchDirectory() + "/made-by-mktemp";
    writeFile(path, "");
    ServedTerminal terminal({"--env-file", path});
    EXPECT_TRUE(contains(readFile(path), "export UMOCKDEV_DIR="));
}

TEST(Serve, ReplacesTheFileAndTheSocketOfOneThatWasKilled) {
    const std::string path = scratchDirectory() + "/left-behind";
    const std::string socket = scratchDirectory() + "/socket";
    const Texts options = {"--env-file", path, "--control", socket};
    {
        ServedTerminal killed(options);
        killed.program().signal(SIGKILL);
        (void)killed.program().wait();
        std::filesystem::remove_all(killed.folder());
    }
    ASSERT_TRUE(std::filesystem::exists(path) && std::filesystem::exists(socket));
    ServedTerminal next(options);
    EXPECT_EQ(readFile(path), next.output()[0] + "\n" + next.output()[1] + "\n");
    EXPECT_EQ(pdasim({"ctl", "--control", socket, "state"}).exitCode, 0);
    EXPECT_EQ(next.end(), 0);
    EXPECT_FALSE(std::filesystem::exists(path) || std::filesystem::exists(socket));
}

TEST(Serve, WritesItsSettingsThroughNoLinkThatSomebodyElseHasPlaced) {
    const std::string path = scratchDirectory() + "/in-a-shared-folder";
    const std::string victim = scratchDirectory() + "/victim";
    writeFile(victim, "precious\n");
    // The shell's process becomes the program's.
    RunningProgram served(
        {"sh", "-c",
         "ln -s " + victim + " " + path + ".pdasim-$$; exec " + Program + " serve --env-file " + path});
    EXPECT_EQ(served.readUpTo("# ready").size(), 4U);
    EXPECT_EQ(readFile(victim), "precious\n");
    EXPECT_TRUE(contains(readFile(path), "export UMOCKDEV_DIR="));
}

TEST(Serve, EndsWhenItCannotSayThatItIsReady) {
    for (const char* shell :
         {"exec timeout 20 \"$0\" serve >/dev/full", "exec timeout 20 \"$0\" serve >&-"}) {
        const ProgramResult result = runProgram({"sh", "-c", shell, Program});
        EXPECT_EQ(result.exitCode, 74) << shell;
        EXPECT_TRUE(contains(result.errors, "pdasim: standard output cannot be written")) << result.errors;
    }
}

TEST(Serve, DoesNotTakeAwayWhatHasReplacedItsFile) {
    const std::string path = scratchDirectory() + "/replaced";
    ServedTerminal served({"--env-file", path});
    writeFile(path, "precious\n");
    EXPECT_EQ(served.end(), 0);
    EXPECT_EQ(readFile(path), "precious\n");
}

TEST(Serve, SaysWhereItNeedsAFolder) {
    const ProgramResult result = runProgram({"env", "TMPDIR=/no/such/folder", Program, "serve"});
    EXPECT_EQ(result.exitCode, 71);
    EXPECT_EQ(result.errors,
              "pdasim: cannot make a folder in /no/such/folder: No such file or directory; let "
              "TMPDIR name a folder that you may write to\n");
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
    EXPECT_TRUE(pdasim::test::endsWithItsParent("serve"));
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

TEST(Serve, TwoOfThemLiveSideBySide) {
    ServedTerminal first;
    ServedTerminal second;
    EXPECT_NE(first.folder(), second.folder());
    (void)first.ctl({"teller", "T1"});
    EXPECT_TRUE(contains(first.ctl({"state"}), "\"registered\": \"T1\""));
    EXPECT_FALSE(contains(second.ctl({"state"}), "\"registered\": \"T1\""));
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

} // namespace
