#include "DeviceDescription.h"
#include "FakeBoard.h"
#include "PrivateDirectory.h"
#include "ProgramRun.h"
#include "ServedTerminal.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace {

using pdalink::test::ProgramResult;
using pdalink::test::readFile;
using pdalink::test::runProgram;
using pdalink::test::scratchDirectory;
using pdalink::test::writeFile;
using pdasim::test::FakeBoard;
using pdasim::test::pdasim;
using Texts = std::vector<std::string>;

std::string script(const Texts& options = {}) {
    Texts arguments = {"gadget", "--script"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const ProgramResult result = pdasim(arguments);
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(result.errors, "");
    return result.output;
}

ProgramResult runScript(const FakeBoard& board, const std::string& text) {
    const std::string path = scratchDirectory() + "/script";
    writeFile(path, text);
    return runProgram({"sh", path}, board.environment());
}

TEST(GadgetScript, IsWellFormedForTheShell) {
    for (const Texts& options : {Texts{}, Texts{"--udc", "it's one"}, Texts{"--remove"}}) {
        const std::string path = scratchDirectory() + "/script";
        writeFile(path, script(options));
        for (const char* shell : {"sh", "bash"}) {
            const ProgramResult result = runProgram({shell, "-n", path});
            EXPECT_EQ(result.exitCode, 0) << result.errors;
        }
    }
}

TEST(GadgetScript, WritesEveryAttribute) {
    const FakeBoard board({"first.usb"});
    const ProgramResult result = runScript(board, script({"--vid", "12AB", "--pid", "00cd"}));
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output, "first.usb " + board.devices + "/hidg4\n");
    const std::string gadget = board.gadgets + "/pdasim.first.usb";
    const std::vector<std::pair<std::string, std::string>> attributes = {
        {"idVendor", "0x12ab"},
        {"idProduct", "0x00cd"},
        {"bcdDevice", "0x0100"},
        {"strings/0x409/manufacturer", "Simulated terminals"},
        {"strings/0x409/product", "Handheld terminal"},
        {"strings/0x409/serialnumber", "SIM0000001"},
        {"functions/hid.usb0/protocol", "0"},
        {"functions/hid.usb0/subclass", "0"},
        {"functions/hid.usb0/report_length", "64"},
        {"functions/hid.usb0/report_desc", pdasim::reportDescriptor(64)},
        {"UDC", "first.usb\n"},
    };
    for (const auto& [name, value] : attributes) {
        EXPECT_EQ(readFile(std::string(gadget).append("/").append(name)), value) << name;
    }
    EXPECT_EQ(std::filesystem::read_symlink(gadget + "/configs/c.1/hid.usb0"),
              gadget + "/functions/hid.usb0");
}

TEST(GadgetScript, TakesTextsAsTheyAre) {
    const std::string scenario = scratchDirectory() + "/scenario.json";
    writeFile(scenario, R"({"name": "x", "device": {"manufacturer": "O'Neill $HOME %s", "reportSize": 32}})");
    const FakeBoard board({"first.usb"});
    EXPECT_EQ(runScript(board, script({"--scenario", scenario})).exitCode, 0);
    const std::string gadget = board.gadgets + "/pdasim.first.usb/";
    EXPECT_EQ(readFile(gadget + "strings/0x409/manufacturer"), "O'Neill $HOME %s");
    EXPECT_EQ(readFile(gadget + "functions/hid.usb0/report_length"), "32");
    EXPECT_EQ(readFile(gadget + "functions/hid.usb0/report_desc"), pdasim::reportDescriptor(32));
}

TEST(GadgetScript, TakesTheFirstControllerThatNothingUses) {
    const FakeBoard board({"first.usb", "second.usb", "third.usb"});
    board.use("first.usb");
    EXPECT_EQ(runScript(board, script()).output, "second.usb " + board.devices + "/hidg4\n");
    const FakeBoard other({"first.usb", "second.usb", "third.usb"});
    EXPECT_EQ(runScript(other, script({"--udc", "third.usb"})).output,
              "third.usb " + other.devices + "/hidg4\n");
}

TEST(GadgetScript, TakesAwayWhatItHasMade) {
    const FakeBoard board({"first.usb", "second.usb"});
    EXPECT_EQ(runScript(board, script({"--udc", "first.usb"})).exitCode, 0);
    EXPECT_EQ(runScript(board, script({"--udc", "second.usb"})).exitCode, 0);
    ProgramResult result = runScript(board, script({"--remove", "--udc", "second.usb"}));
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(result.errors, "");
    EXPECT_TRUE(std::filesystem::exists(board.gadgets + "/pdasim.first.usb"));
    EXPECT_FALSE(std::filesystem::exists(board.gadgets + "/pdasim.second.usb"));
    result = runScript(board, script({"--remove"}));
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_TRUE(std::filesystem::is_empty(board.gadgets));
    EXPECT_EQ(runScript(board, script({"--remove"})).exitCode, 0) << "there is nothing any more";
}

TEST(GadgetScript, TakesAwayWhatItCouldNotFinish) {
    const FakeBoard board({"first.usb"});
    board.breakFunctions();
    const ProgramResult result = runScript(board, script());
    EXPECT_EQ(result.exitCode, 71);
    EXPECT_EQ(result.errors,
              "pdasim: the kernel module usb_f_hid is not there; this helps: sudo modprobe usb_f_hid\n");
    EXPECT_TRUE(std::filesystem::is_empty(board.gadgets));
}

TEST(GadgetScript, SaysWhatIsMissingAndWhatHelps) {
    const auto reason = [](const FakeBoard& board, const Texts& options = {}) {
        const ProgramResult result = runScript(board, script(options));
        EXPECT_EQ(result.exitCode, 71);
        EXPECT_EQ(result.output, "");
        return result.errors;
    };
    EXPECT_EQ(reason(FakeBoard({})),
              "pdasim: there is no USB device controller (on a PC a simulated one will "
              "do); this helps: sudo modprobe dummy_hcd\n");
    const FakeBoard busy({"first.usb"});
    busy.use("first.usb");
    EXPECT_EQ(reason(busy),
              "pdasim: every USB device controller is in use; this helps: pdasim gadget --script "
              "--remove | sudo sh\n");
    EXPECT_EQ(reason(busy, {"--udc", "other"}),
              "pdasim: there is no USB device controller other; this helps: ls " + busy.system +
                  "/class/udc\n");
    const FakeBoard twice({"first.usb"});
    EXPECT_EQ(runScript(twice, script()).exitCode, 0);
    EXPECT_EQ(reason(twice),
              "pdasim: " + twice.gadgets +
                  "/pdasim.first.usb is there already; this helps: pdasim gadget --script --remove "
                  "--udc first.usb | sudo sh\n");
    const FakeBoard bare({"first.usb"});
    std::filesystem::remove(bare.gadgets);
    EXPECT_EQ(
        reason(bare),
        "pdasim: the kernel module libcomposite is not there; this helps: sudo modprobe libcomposite\n");
    EXPECT_EQ(bare.calls(),
              "modprobe libcomposite\nmount -t configfs none " + bare.system + "/kernel/config\n");
    std::filesystem::remove(bare.system + "/kernel/config");
    EXPECT_EQ(reason(bare), "pdasim: configfs is not there; this helps: sudo modprobe configfs\n");
}

} // namespace
