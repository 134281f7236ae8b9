#include "BareClient.h"
#include "PrivateDirectory.h"
#include "ProcessFacts.h"
#include "ServedTerminal.h"
#include "UsbIpClient.h"
#include "usb/Descriptors.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace {

using pdalink::test::ProgramResult;
using pdalink::test::readFile;
using pdalink::test::runProgram;
using pdalink::test::scratchDirectory;
using pdalink::test::waitUntil;
using pdalink::test::writeFile;
using pdasim::FileDescriptor;
using pdasim::test::contains;
using pdasim::test::pdasim;
using pdasim::test::Program;
using pdasim::test::request;
using pdasim::test::RunningProgram;
using pdasim::test::UsbIpClient;
using Texts = std::vector<std::string>;

const std::string kStatus = "hub port sta spd dev      sockfd local_busid\n";
const std::string kFreePort = "hs  0000 004 000 00000000 000000 0-0\n";

/// "pdasim usbip --listen 0", which is ready.
class Listening {
public:
    explicit Listening(Texts options = {}) : m_program(command(std::move(options))) {
        lines = m_program.readUpTo("# ready");
        std::smatch match;
        const std::regex place(R"(busid 1-1 of 127\.0\.0\.1:([0-9]+), )");
        EXPECT_TRUE(std::regex_search(lines.front(), match, place)) << lines.front();
        port = match.empty() ? std::uint16_t(0) : static_cast<std::uint16_t>(std::stoi(match[1]));
    }
    RunningProgram& program() { return m_program; }
    int end() {
        m_program.signal(SIGTERM);
        return m_program.wait();
    }

    Texts lines;
    std::uint16_t port = 0;

private:
    static Texts command(Texts options) {
        options.insert(options.begin(), {Program, "usbip", "--listen", "0"});
        return options;
    }

    RunningProgram m_program;
};

/// What sysfs shows of the module; pdasim takes it for the real one.
class FakeSystem {
public:
    explicit FakeSystem(const std::string& status = kFreePort) {
        // Unlike the test's own folder one that every user can look into.
        std::string place = "/tmp/pdasim-sys-XXXXXX";
        EXPECT_NE(::mkdtemp(place.data()), nullptr);
        std::filesystem::permissions(place, std::filesystem::perms(0755));
        m_sys = place;
        folder = m_sys + "/devices/platform/vhci_hcd.0";
        std::filesystem::create_directories(folder);
        writeFile(folder + "/attach", "");
        writeFile(folder + "/detach", "");
        writeFile(folder + "/status", kStatus + status);
        (void)::setenv("PDASIM_SYS", m_sys.c_str(), 1);
    }
    FakeSystem(const FakeSystem&) = delete;
    FakeSystem& operator=(const FakeSystem&) = delete;
    ~FakeSystem() {
        (void)::unsetenv("PDASIM_SYS");
        std::filesystem::remove_all(m_sys);
    }
    /// As the kernel does once it knows the device.
    void makeNode() const {
        std::filesystem::create_directories(folder + "/usb3/3-1/3-1:1.0/0003:1209:0001.0001/hidraw/hidraw7");
    }

    std::string folder;

private:
    std::string m_sys;
};

/// Takes the kernel's part. The file to attach a device with is a full pipe: while pdasim waits for room to
/// write into it, all its sockets can be copied, and the line tells then which of them is the kernel's.
class PlayedKernel {
public:
    PlayedKernel() {
        const std::string path = system.folder + "/attach";
        std::filesystem::remove(path);
        EXPECT_EQ(::mkfifo(path.c_str(), 0600), 0);
        m_pipe.reset(::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK));
        EXPECT_TRUE(m_pipe.isOpen());
        while (::write(m_pipe.get(), "\n", 1) == 1) {
        }
        system.makeNode();
    }

    /// The device that the process attaches; null when its sockets cannot be copied.
    std::unique_ptr<UsbIpClient> takeDevice(pid_t process) {
        const std::string folder = "/proc/" + std::to_string(process) + "/fd";
        std::map<int, FileDescriptor> sockets;
        EXPECT_TRUE(waitUntil([this, &folder] { return leadsToThePipe(folder); }));
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            if (contains(std::filesystem::read_symlink(entry.path()), "socket:")) {
                const int number = std::stoi(entry.path().filename());
                sockets[number] = copyOf(process, number);
            }
        }
        attached = readLine();
        std::istringstream words(attached);
        int port = 0;
        int number = 0;
        words >> port >> number;
        if (!sockets[number].isOpen()) {
            return nullptr;
        }
        return std::make_unique<UsbIpClient>(std::move(sockets[number]));
    }

    /// What comes after all the empty lines.
    std::string readLine() const {
        std::string line;
        EXPECT_TRUE(waitUntil([this, &line] {
            for (char byte = 0; ::read(m_pipe.get(), &byte, 1) == 1;) {
                line.append(byte == '\n' ? 0 : 1, byte);
            }
            return !line.empty();
        }));
        return line;
    }

    FakeSystem system;
    std::string attached;

private:
    bool leadsToThePipe(const std::string& folder) const {
        std::error_code error;
        for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
            if (std::filesystem::read_symlink(entry.path(), error) == system.folder + "/attach") {
                return true;
            }
        }
        return false;
    }

    static FileDescriptor copyOf(pid_t process, int number) {
        const FileDescriptor handle(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
        return FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_getfd, handle.get(), number, 0)));
    }

    FileDescriptor m_pipe;
};

TEST(UsbIpListen, SaysWhereItsTerminalsAreThenThatItIsReady) {
    Listening server({"--terminals", "2", "--pid", "00fe"});
    ASSERT_EQ(server.lines.size(), 3U);
    const std::string port = std::to_string(server.port);
    EXPECT_EQ(server.lines[0], "# terminal 1 at busid 1-1 of 127.0.0.1:" + port + ", USB id 1209:00fe");
    EXPECT_EQ(server.lines[1], "# terminal 2 at busid 1-2 of 127.0.0.1:" + port + ", USB id 1209:00ff");
    EXPECT_EQ(server.lines[2], "# ready: \"sudo usbip --tcp-port " + port +
                                   " attach -r 127.0.0.1 -b 1-1\" attaches terminal 1");
    const auto devices = UsbIpClient(server.port).list();
    ASSERT_EQ(devices.size(), 2U);
    EXPECT_EQ(devices[1].productId, 0x00FFU);
    EXPECT_EQ(server.end(), 0);
}

TEST(UsbIpListen, ServesTheTerminalOfTheOptions) {
    const std::string trace = scratchDirectory() + "/trace";
    const std::string control = scratchDirectory() + "/control";
    Listening server({"--trace", trace, "--control", control, "--scenario", "lock-shop"});
    UsbIpClient client(server.port);
    ASSERT_TRUE(client.import("1-1"));
    client.submitIn(1, 64);
    EXPECT_EQ(client.write(request("8001", 1)).status, 0);
    EXPECT_TRUE(contains(client.reply().value().data, "8001QEV"));
    EXPECT_FALSE(client.readText().empty());
    EXPECT_TRUE(contains(readFile(trace), "terminal -> host  8001"));
    EXPECT_TRUE(contains(pdasim({"ctl", "--control", control, "state"}).output, "\"openDescriptors\": 1"));
    EXPECT_EQ(pdasim({"ctl", "--control", control, "unplug"}).exitCode, 0);
    EXPECT_EQ(client.reply(), std::nullopt);
    EXPECT_TRUE(UsbIpClient(server.port).list().empty());
    EXPECT_EQ(pdasim({"ctl", "--control", control, "replug"}).exitCode, 0);
    EXPECT_EQ(UsbIpClient(server.port).list().size(), 1U);
    EXPECT_EQ(server.end(), 0);
    EXPECT_FALSE(std::filesystem::exists(control));
}

TEST(UsbIpListen, FailsAtTheEndWhenAHostBrokeTheProtocol) {
    Listening server;
    UsbIpClient client(server.port);
    ASSERT_TRUE(client.import("1-1"));
    EXPECT_EQ(client.write("nonsense").status, 0);
    EXPECT_EQ(server.end(), 70);
}

TEST(UsbIpListen, SaysThatThePortIsTaken) {
    Listening server;
    const std::string port = std::to_string(server.port);
    const ProgramResult result = pdasim({"usbip", "--listen", port});
    EXPECT_EQ(result.exitCode, 73);
    EXPECT_EQ(result.errors,
              "pdasim: cannot listen at 127.0.0.1:" + port +
                  ": Address already in use. Give --listen another port, or 0 for any free one\n");
}

/// The tool that comes with Linux understands the list.
TEST(UsbIpListen, TheStockToolListsTheTerminal) {
    Listening server;
    const ProgramResult result =
        runProgram({"usbip", "--tcp-port", std::to_string(server.port), "list", "-r", "127.0.0.1"},
                   {{"PATH", "/usr/sbin:/sbin:/usr/bin:/bin"}});
    if (result.exitCode == 127) {
        GTEST_SKIP() << "there is no usbip";
    }
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_TRUE(contains(result.output, "1-1: ")) << result.output;
    EXPECT_TRUE(contains(result.output, "(1209:0001)")) << result.output;
}

TEST(UsbIpAttach, SaysWhichModuleIsMissing) {
    const ProgramResult result = runProgram({Program, "usbip"}, {{"PDASIM_SYS", "/no/such/folder"}});
    EXPECT_EQ(result.exitCode, 71);
    EXPECT_EQ(result.errors,
              "pdasim: the kernel's module vhci_hcd is not there; this loads it: sudo modprobe "
              "vhci_hcd\n");
    EXPECT_EQ(result.output, "");
}

/// As another user, if this one may be that: root has every permission.
TEST(UsbIpAttach, SaysWhichCommandGivesThePermission) {
    const FakeSystem system;
    Texts command = {Program, "usbip"};
    if (::getuid() == 0) {
        command.insert(command.begin(), {"env", "-u", "TSAN_OPTIONS", "setpriv", "--reuid=65534",
                                         "--regid=65534", "--clear-groups"});
    }
    for (const char* attribute : {"/attach", "/detach"}) {
        std::filesystem::permissions(system.folder + attribute, std::filesystem::perms::owner_read);
    }
    const ProgramResult result = runProgram(command);
    if (result.exitCode == 126 || result.exitCode == 127) {
        GTEST_SKIP() << "another user cannot run the program: " << result.errors;
    }
    EXPECT_EQ(result.exitCode, 71);
    const std::string start = "pdasim: no permission to attach devices; this gives it: sudo sh -c 'cd " +
                              system.folder + " && chgrp ";
    EXPECT_EQ(result.errors.substr(0, start.size()), start);
    EXPECT_TRUE(contains(result.errors, " attach detach && chmod 0220 attach detach'\n")) << result.errors;
}

TEST(UsbIpAttach, GivesTheKernelItsEndOfAStreamAndWaitsForTheNode) {
    PlayedKernel kernel;
    RunningProgram server({Program, "usbip"});
    auto device = kernel.takeDevice(server.process());
    if (!device) {
        GTEST_SKIP() << "this system lets no process have another one's descriptors";
    }
    EXPECT_TRUE(std::regex_match(kernel.attached, std::regex("0 [0-9]+ 65538 2"))) << kernel.attached;
    const Texts lines = server.readUpTo("# ready");
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0], "# terminal 1 at /dev/hidraw7, USB id 1209:0001");
    EXPECT_EQ(device->controlIn(0x80, 0x06, 0x0100, 18).data, pdasim::deviceDescriptor({}));
    device->submitIn(1, 64);
    EXPECT_EQ(device->write(request("8001", 1)).status, 0);
    EXPECT_TRUE(contains(device->reply().value().data, "8001QEV"));
    EXPECT_FALSE(device->readText().empty());
    server.signal(SIGTERM);
    EXPECT_EQ(server.wait(), 0);
    EXPECT_EQ(device->reply(), std::nullopt);
    EXPECT_EQ(readFile(kernel.system.folder + "/detach"), "0");
}

TEST(UsbIpAttach, ADeviceThatTheKernelLetsGoCanBePluggedInAgain) {
    PlayedKernel kernel;
    const std::string control = scratchDirectory() + "/control";
    RunningProgram server({Program, "usbip", "--control", control});
    auto device = kernel.takeDevice(server.process());
    if (!device) {
        GTEST_SKIP() << "this system lets no process have another one's descriptors";
    }
    ASSERT_EQ(server.readUpTo("# ready").size(), 2U);
    const auto state = [&control] { return pdasim({"ctl", "--control", control, "state"}).output; };
    EXPECT_TRUE(contains(state(), "\"plugged\": true"));
    device.reset();
    EXPECT_TRUE(waitUntil([&state] { return contains(state(), "\"plugged\": false"); }));
    EXPECT_EQ(pdasim({"ctl", "--control", control, "replug"}).exitCode, 0);
    EXPECT_TRUE(std::regex_match(kernel.readLine(), std::regex("0 [0-9]+ 65538 2")));
    // Nobody holds the kernel's end this time: the terminal finds it closed.
    EXPECT_TRUE(waitUntil([&state] { return contains(state(), "\"plugged\": false"); }));
    writeFile(kernel.system.folder + "/status", kStatus);
    const ProgramResult refused = pdasim({"ctl", "--control", control, "replug"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(contains(refused.errors, "every port of vhci_hcd is taken")) << refused.errors;
    server.signal(SIGTERM);
    EXPECT_EQ(server.wait(), 0);
}

} // namespace
