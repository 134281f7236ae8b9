#include "BareClient.h"
#include "FakeBoard.h"
#include "PrivateDirectory.h"
#include "ProcessFacts.h"
#include "ServedTerminal.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace {

using pdalink::test::ProgramResult;
using pdalink::test::readFile;
using pdalink::test::runProgram;
using pdalink::test::scratchDirectory;
using pdalink::test::waitUntil;
using pdasim::test::contains;
using pdasim::test::FakeBoard;
using pdasim::test::pdasim;
using pdasim::test::Program;
using pdasim::test::request;
using pdasim::test::RunningProgram;
using Texts = std::vector<std::string>;

/// Stands in for a gadget's node: what is written at the one end can be read at the other.
class StandIn {
public:
    StandIn() : m_master(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        EXPECT_EQ(::grantpt(m_master), 0);
        EXPECT_EQ(::unlockpt(m_master), 0);
        // By a name of its own: another program's pseudo-terminal may get this one's when it is gone.
        path = scratchDirectory() + "/node-" + std::to_string(m_master);
        EXPECT_EQ(::symlink(::ptsname(m_master), path.c_str()), 0);
        // Kept open, so that the other side sees no hang-up before pdasim has opened it.
        m_slave = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        termios settings{};
        EXPECT_EQ(::tcgetattr(m_slave, &settings), 0);
        ::cfmakeraw(&settings);
        EXPECT_EQ(::tcsetattr(m_slave, TCSANOW, &settings), 0);
    }
    StandIn(const StandIn&) = delete;
    StandIn& operator=(const StandIn&) = delete;
    ~StandIn() { hangUp(); }

    /// What a host's interrupt transfers bring.
    void write(std::string_view message) const {
        for (std::size_t at = 0; at < message.size(); at += 64) {
            const std::string_view packet = message.substr(at, 64);
            ASSERT_EQ(::write(m_master, packet.data(), packet.size()), static_cast<ssize_t>(packet.size()));
        }
    }
    /// The next reports.
    std::string read(std::size_t reports) const {
        std::string bytes(64 * reports, '\0');
        std::size_t got = 0;
        while (got < bytes.size()) {
            const ssize_t more = ::read(m_master, bytes.data() + got, bytes.size() - got);
            if (more <= 0) {
                break;
            }
            got += static_cast<std::size_t>(more);
        }
        bytes.resize(got);
        return bytes;
    }
    void hangUp() {
        (void)::unlink(path.c_str());
        ::close(m_slave);
        ::close(m_master);
        m_slave = m_master = -1;
    }

    std::string path;

private:
    int m_master;
    int m_slave = -1;
};

/// A board that this process, and what it starts, takes for the real one.
class UsedBoard : public FakeBoard {
public:
    UsedBoard() : FakeBoard({"first.usb"}), m_path(std::getenv("PATH")) {
        for (const auto& [name, value] : environment()) {
            (void)::setenv(name.c_str(), value.c_str(), 1);
        }
        std::filesystem::create_symlink(node.path, devices + "/hidg4");
        addNode(node.path);
    }
    UsedBoard(const UsedBoard&) = delete;
    UsedBoard& operator=(const UsedBoard&) = delete;
    ~UsedBoard() {
        (void)::unsetenv("PDASIM_SYS");
        (void)::unsetenv("PDASIM_DEV");
        (void)::setenv("PATH", m_path.c_str(), 1);
    }

    StandIn node;

private:
    std::string m_path;
};

TEST(Gadget, ServesANodeThatIsSetUp) {
    const UsedBoard board;
    const StandIn& node = board.node;
    RunningProgram server({Program, "gadget", "--node", node.path});
    const Texts lines = server.readUpTo("# ready");
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0], "# terminal 1 at " + node.path + ", USB id 1209:0001");
    node.write(request("8001", 7));
    const std::string reply = node.read(4);
    ASSERT_EQ(reply.size(), 256U);
    EXPECT_EQ(reply.substr(0, 10), "0002418001");
    EXPECT_EQ(reply.substr(241), std::string(15, '\0'));
    // Nobody tells a device that another program has opened it: any number may follow.
    node.write(request("8001", 1));
    EXPECT_EQ(node.read(4).size(), 256U);
    server.signal(SIGTERM);
    EXPECT_EQ(server.wait(), 0);
}

TEST(Gadget, ANodeThatGoesIsAnUnpluggedTerminal) {
    UsedBoard board;
    StandIn& node = board.node;
    const std::string control = scratchDirectory() + "/control";
    RunningProgram server({Program, "gadget", "--node", node.path, "--control", control});
    ASSERT_EQ(server.readUpTo("# ready").size(), 2U);
    const auto state = [&control] { return pdasim({"ctl", "--control", control, "state"}).output; };
    EXPECT_TRUE(contains(state(), "\"plugged\": true"));
    node.hangUp();
    EXPECT_TRUE(waitUntil([&state] { return contains(state(), "\"plugged\": false"); }));
    const ProgramResult refused = pdasim({"ctl", "--control", control, "replug"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(contains(refused.errors, "cannot open " + node.path)) << refused.errors;
    server.signal(SIGTERM);
    EXPECT_EQ(server.wait(), 0);
}

TEST(Gadget, SetsTheBoardUpServesItAndTakesEverythingAway) {
    const UsedBoard board;
    const std::string control = scratchDirectory() + "/control";
    RunningProgram server({Program, "gadget", "--control", control});
    const Texts lines = server.readUpTo("# ready");
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0], "# terminal 1 at " + board.devices + "/hidg4 of first.usb, USB id 1209:0001");
    const std::string gadget = board.gadgets + "/pdasim.first.usb";
    EXPECT_EQ(readFile(gadget + "/idVendor"), "0x1209");
    board.node.write(request("8001", 1));
    EXPECT_EQ(board.node.read(4).size(), 256U);
    EXPECT_EQ(pdasim({"ctl", "--control", control, "unplug"}).exitCode, 0);
    EXPECT_EQ(readFile(gadget + "/UDC"), "\n");
    EXPECT_EQ(pdasim({"ctl", "--control", control, "replug"}).exitCode, 0);
    EXPECT_EQ(readFile(gadget + "/UDC"), "first.usb\n");
    board.node.write(request("8001", 2));
    EXPECT_EQ(board.node.read(4).size(), 256U);
    server.signal(SIGINT);
    EXPECT_EQ(server.wait(), 0);
    EXPECT_TRUE(std::filesystem::is_empty(board.gadgets));
}

TEST(Gadget, EndsWithItsParentAndTakesTheDeviceAway) {
    const UsedBoard board;
    EXPECT_TRUE(pdasim::test::endsWithItsParent("gadget"));
    EXPECT_TRUE(waitUntil([&board] { return std::filesystem::is_empty(board.gadgets); }));
}

TEST(Gadget, SaysWhatIsMissingAndLeavesNothingBehind) {
    const ProgramResult missing = runProgram({Program, "gadget"}, FakeBoard({}).environment());
    EXPECT_EQ(missing.exitCode, 71);
    EXPECT_EQ(missing.errors,
              "pdasim: there is no USB device controller (on a PC a simulated one will do); this "
              "helps: sudo modprobe dummy_hcd\n");
    const FakeBoard board({"first.usb"});
    const ProgramResult result = runProgram({Program, "gadget"}, board.environment());
    EXPECT_EQ(result.exitCode, 71);
    EXPECT_TRUE(contains(result.errors, "cannot open " + board.devices + "/hidg4: No such file"))
        << result.errors;
    EXPECT_TRUE(std::filesystem::is_empty(board.gadgets));
}

TEST(Gadget, RefusesANodeThatIsNotAGadgets) {
    const std::string missing = scratchDirectory() + "/hidg0";
    EXPECT_EQ(pdasim({"gadget", "--node", missing}).errors,
              "pdasim: cannot open " + missing +
                  ": No such file or directory; this sets it up: pdasim gadget --script | sudo sh\n");
    const StandIn terminal;
    const std::string file = scratchDirectory() + "/file";
    pdalink::test::writeFile(file, "precious");
    for (const std::string& path : {std::string("/dev/null"), terminal.path, file, scratchDirectory()}) {
        const ProgramResult result = runProgram({"timeout", "20", Program, "gadget", "--node", path});
        EXPECT_EQ(result.exitCode, 71) << path;
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "pdasim: " + path +
                                     " is not the node of a HID gadget; this sets one up: pdasim gadget "
                                     "--script | sudo sh\n");
    }
    EXPECT_EQ(readFile(file), "precious");
}

} // namespace
