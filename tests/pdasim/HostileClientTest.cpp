#include "PrivateDirectory.h"
#include "ProcessFacts.h"
#include "ServedTerminal.h"
#include "SocketClient.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using pdalink::test::readFile;
using pdalink::test::scratchDirectory;
using pdalink::test::waitUntil;
using pdasim::test::contains;
using pdasim::test::pdasim;
using pdasim::test::Program;
using pdasim::test::RunningProgram;
using pdasim::test::ServedTerminal;
using pdasim::test::SocketClient;

/// The most memory that a process has used.
std::size_t peakKilobytes(pid_t process) {
    const std::string status = readFile("/proc/" + std::to_string(process) + "/status");
    return std::stoul(status.substr(status.find("VmHWM:") + 6));
}

double cpuMilliseconds(pid_t process) {
    clockid_t clock{};
    timespec time{};
    EXPECT_EQ(::clock_getcpuclockid(process, &clock), 0);
    EXPECT_EQ(::clock_gettime(clock, &time), 0);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

// The sanitizers keep what is freed.
constexpr std::size_t kAllowedKilobytes = PDALINK_IS_SANITIZED ? 1024UL * 1024 : 24UL * 1024;

std::string times(std::size_t count, const std::string& text) {
    std::string all;
    while (all.size() < count * text.size()) {
        all += text;
    }
    return all;
}

TEST(HostileClient, ThatNeverReadsCostsNoMemoryAndLosesNoAnswer) {
    ServedTerminal served;
    const pid_t process = served.program().process();
    const std::size_t before = peakKilobytes(process);
    const SocketClient client(served.folder() + "/pdasim.sock");
    const std::string line = "{\"command\":\"state\"}\n";
    const std::size_t lines = client.send(times(100000, line)) / line.size();
    EXPECT_GT(lines, 10U);
    EXPECT_LT(peakKilobytes(process) - before, kAllowedKilobytes);
    EXPECT_TRUE(contains(served.ctl({"state"}), "\"plugged\": true"));
    const std::string answers = client.read(lines);
    EXPECT_EQ(std::count(answers.begin(), answers.end(), '\n'), static_cast<std::ptrdiff_t>(lines));
}

TEST(HostileClient, ThatFollowsButNeverReadsIsGivenUp) {
    ServedTerminal served;
    const pid_t process = served.program().process();
    const std::string path = served.folder() + "/pdasim.sock";
    const SocketClient follower(path);
    follower.send("{\"command\":\"traffic\"}\n");
    EXPECT_EQ(follower.read(1), "{\"ok\":true,\"following\":true}\n");
    const std::size_t before = peakKilobytes(process);
    const SocketClient talker(path);
    const std::string label(100000, 'x');
    for (int i = 0; i < 200; ++i) {
        talker.send(R"({"command":"scan","labels":[")" + label + "\"]}\n");
        EXPECT_EQ(talker.read(1), "{\"ok\":true,\"listeners\":0}\n");
    }
    EXPECT_LT(peakKilobytes(process) - before, kAllowedKilobytes);
    // Its stream has an end.
    (void)follower.read(1000);
}

// ms of CPU time; comparing each name with all others would take minutes under the sanitizers.
constexpr double kAtOnce = PDALINK_IS_SANITIZED ? 10000 : 2000;

TEST(HostileClient, ThatSendsAnObjectOf90000NamesIsAnsweredAtOnce) {
    ServedTerminal served;
    const SocketClient client(served.folder() + "/pdasim.sock");
    std::string line = "{";
    for (int i = 0; i < 90000; ++i) {
        line += "\"n" + std::to_string(i) + "\":0,";
    }
    line += "\"n7\":0}\n";
    EXPECT_EQ(client.send(line), line.size());
    EXPECT_TRUE(contains(client.read(1), R"(\"n7\" appears twice)"));
    EXPECT_LT(cpuMilliseconds(served.program().process()), kAtOnce);
    EXPECT_EQ(served.end(), 0);
}

/// One class listens at sockets, nodes and the TCP port.
TEST(HostileClient, ThatTakesAllDescriptorsLetsTheListenerRest) {
    constexpr std::size_t kLimit = 40;
    const std::string path = scratchDirectory() + "/control";
    RunningProgram program(
        {"sh", "-c",
         "ulimit -n " + std::to_string(kLimit) + "; exec " + Program + " serve --control " + path});
    ASSERT_EQ(program.readUpTo("# ready").size(), 4U);
    {
        std::vector<std::unique_ptr<SocketClient>> clients;
        for (std::size_t i = 0; i < kLimit; ++i) {
            clients.push_back(std::make_unique<SocketClient>(path));
        }
        const std::string last =
            "/proc/" + std::to_string(program.process()) + "/fd/" + std::to_string(kLimit - 1);
        EXPECT_TRUE(waitUntil([&last] { return std::filesystem::is_symlink(last); }));
        const double before = cpuMilliseconds(program.process());
        // What is measured is the time in which nothing happens.
        std::this_thread::sleep_for(500ms);
        EXPECT_LT(cpuMilliseconds(program.process()) - before, 50);
    }
    EXPECT_EQ(pdasim({"ctl", "--control", path, "state"}).exitCode, 0);
}

} // namespace
