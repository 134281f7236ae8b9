#include "BareClient.h"

#include "PrivateDirectory.h"
#include "ProcessFacts.h"
#include "SimulatedTerminal.h"

#include <gtest/gtest.h>

#include <linux/hidraw.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using pdalink::test::waitUntil;
using pdasim::SimulatedTerminal;
using pdasim::test::BareClient;
using pdasim::test::request;
using Texts = std::vector<std::string>;

const std::string kPadding(64, '\0');

std::string padded(const std::string& text) {
    return (text + kPadding).substr(0, 64);
}

TEST(DeviceNode, IsACharacterDeviceButNoTerminal) {
    const SimulatedTerminal terminal;
    EXPECT_EQ(terminal.nodePath(), "/dev/hidraw0");
    struct stat status {};
    ASSERT_EQ(::stat(terminal.nodePath().c_str(), &status), 0);
    EXPECT_TRUE(S_ISCHR(status.st_mode));
    EXPECT_EQ(minor(status.st_rdev), 0U);
    const BareClient client(terminal.nodePath());
    EXPECT_EQ(::isatty(client.descriptor()), 0);
}

TEST(DeviceNode, AnswersAMessageInPaddedReportsOf64Bytes) {
    SimulatedTerminal terminal;
    BareClient client(terminal.nodePath());
    ASSERT_TRUE(client.isOpen());
    EXPECT_EQ(client.poll(0ms), 0);
    EXPECT_EQ(client.read(), "");
    EXPECT_EQ(client.readError(), EAGAIN);
    EXPECT_EQ(client.write(request("8001", 1)), 112);
    EXPECT_TRUE(terminal.waitForMessages(1, 0ms));
    const Texts reports = client.readReports();
    ASSERT_EQ(reports.size(), 4U);
    for (const std::string& report : reports) {
        EXPECT_EQ(report.size(), 64U);
    }
    EXPECT_EQ(reports[0].substr(0, 10), "0002418001");
    EXPECT_EQ(reports[3].substr(49), kPadding.substr(0, 15));
    EXPECT_EQ(terminal.violations(), Texts());
}

TEST(DeviceNode, KeepsTheKernelsBoundsOfAWrite) {
    SimulatedTerminal terminal;
    const BareClient client(terminal.nodePath());
    EXPECT_EQ(client.write(""), -EINVAL);
    EXPECT_EQ(client.write("x"), -EINVAL);
    EXPECT_EQ(client.write(std::string(16385, 'x')), -EINVAL);
    EXPECT_EQ(terminal.received(), Texts());
    const std::string largest(16384, 'x');
    EXPECT_EQ(client.write(largest), 16384);
    EXPECT_EQ(client.write("0x"), 2);
    EXPECT_EQ(terminal.received(), (Texts{largest, "0x"}));
}

TEST(DeviceNode, DoesNotTakeNumbersUsedUpByRefusedWritesForGaps) {
    SimulatedTerminal terminal;
    const BareClient client(terminal.nodePath());
    EXPECT_EQ(client.write(request("8001", 1)), 112);
    EXPECT_EQ(client.write(request("8001", 2, std::string(16384, 'x'))), -EINVAL);
    EXPECT_EQ(client.write(request("8001", 3)), 112);
    EXPECT_EQ(terminal.violations(), Texts());
}

TEST(DeviceNode, SendsUnpaddedReportsAndReportsOfAnotherSizeOnDemand) {
    SimulatedTerminal::Options options;
    options.reportSize = 8;
    SimulatedTerminal terminal(options);
    BareClient client(terminal.nodePath());
    terminal.sendReport("abc");
    terminal.sendText("0123456789");
    EXPECT_EQ(client.read(2), "ab") << "what there is no room for is gone";
    EXPECT_EQ(client.readReports(), (Texts{"01234567", std::string("89\0\0\0\0\0\0", 8)}));
    terminal.sendText("01234567");
    EXPECT_EQ(client.readReports(), Texts{"01234567"});
}

TEST(DeviceNode, DeliversAThousandReportsInOrder) {
    SimulatedTerminal terminal;
    BareClient client(terminal.nodePath());
    std::thread sender([&terminal] {
        for (int i = 0; i < 1000; ++i) {
            terminal.sendReport(padded(std::to_string(i)));
        }
    });
    for (int i = 0; i < 1000; ++i) {
        std::string report;
        ASSERT_TRUE(waitUntil([&] {
            (void)client.poll(10ms);
            report = client.read();
            return client.readError() == 0;
        })) << i;
        EXPECT_EQ(report, padded(std::to_string(i)));
    }
    sender.join();
    EXPECT_EQ(client.read(), "");
    EXPECT_EQ(terminal.lostReports(), 0U);
}

/// N reports, each of which says its number.
Texts numberedReports(int count) {
    Texts reports;
    for (int i = 0; i < count; ++i) {
        reports.push_back(padded(std::to_string(i)));
    }
    return reports;
}

std::string joined(const Texts& reports) {
    std::string text;
    for (const std::string& report : reports) {
        text += report;
    }
    return text;
}

TEST(DeviceNode, KeepsTheFirst63ReportsWhileNobodyReadsAndLosesTheRest) {
    SimulatedTerminal terminal;
    BareClient client(terminal.nodePath());
    Texts reports = numberedReports(100);
    terminal.sendText(joined(reports));
    EXPECT_TRUE(waitUntil([&terminal] { return terminal.lostReports() == 37U; })) << terminal.lostReports();
    reports.resize(63);
    EXPECT_EQ(client.readReports(), reports);
    terminal.sendText("later");
    EXPECT_EQ(client.readReports(), Texts{padded("later")});
}

TEST(DeviceNode, LosesNothingToAReaderBesideAnOpenFileThatNobodyReads) {
    SimulatedTerminal terminal;
    BareClient reading(terminal.nodePath());
    BareClient idle(terminal.nodePath());
    Texts reports = numberedReports(200);
    terminal.sendText(joined(reports));
    EXPECT_EQ(reading.readReports(), reports);
    EXPECT_EQ(terminal.lostReports(), 137U);
    reports.resize(63);
    EXPECT_EQ(idle.readReports(), reports);
}

TEST(DeviceNode, IsReadableExactlyWhileSomethingIsQueued) {
    SimulatedTerminal terminal;
    BareClient client(terminal.nodePath());
    for (int i = 0; i < 50; ++i) {
        terminal.sendReport("one");
        terminal.sendReport("two");
        EXPECT_EQ(client.poll(5s), POLLIN);
        EXPECT_EQ(client.read(), "one");
        EXPECT_EQ(client.poll(5s), POLLIN);
        EXPECT_EQ(client.read(), "two");
        // A ring that the kernel passes on late makes the node readable once more at most.
        EXPECT_TRUE(waitUntil([&client] { return client.read().empty() && client.poll(0ms) == 0; }));
    }
}

TEST(DeviceNode, GivesEachOpenFileAQueueOfItsOwn) {
    SimulatedTerminal terminal;
    terminal.sendText("nobody listens");
    EXPECT_EQ(terminal.lostReports(), 1U);
    BareClient first(terminal.nodePath());
    BareClient second(terminal.nodePath());
    EXPECT_EQ(terminal.openDescriptors(), 2);
    terminal.sendText("for both");
    EXPECT_EQ(first.readReports(), Texts{padded("for both")});
    EXPECT_EQ(second.readReports(), Texts{padded("for both")});
    second.close();
    EXPECT_EQ(terminal.openDescriptors(), 1);
}

TEST(DeviceNode, LetsTheQueueBeReadAfterUnpluggingThenFails) {
    SimulatedTerminal terminal;
    BareClient client(terminal.nodePath());
    terminal.sendReport("one");
    terminal.sendReport("two");
    terminal.unplug();
    EXPECT_EQ(terminal.nodePath(), "");
    EXPECT_EQ(client.poll(1s) & (POLLIN | POLLERR | POLLHUP), POLLIN | POLLERR | POLLHUP);
    EXPECT_EQ(client.read(), "one");
    EXPECT_EQ(client.write(request("8001", 1)), -ENODEV);
    EXPECT_EQ(client.read(), "two");
    EXPECT_EQ(client.read(), "");
    EXPECT_EQ(client.readError(), EIO);
    EXPECT_EQ(client.poll(1s) & (POLLERR | POLLHUP), POLLERR | POLLHUP);
    EXPECT_EQ(terminal.received(), Texts());
}

TEST(DeviceNode, WakesAClientThatWaitsWhenTheDeviceGoes) {
    SimulatedTerminal terminal;
    const BareClient client(terminal.nodePath());
    std::atomic<int> events{0};
    std::thread waiting([&] { events = client.poll(30s); });
    terminal.unplug();
    waiting.join();
    EXPECT_NE(events & POLLHUP, 0);
}

TEST(DeviceNode, ComesBackUnderItsNumberUnlessTheOldOneIsStillOpen) {
    SimulatedTerminal terminal;
    BareClient old(terminal.nodePath());
    terminal.unplug();
    terminal.replug();
    EXPECT_EQ(terminal.nodePath(), "/dev/hidraw1");
    EXPECT_EQ(old.write(request("8001", 1)), -ENODEV);
    BareClient fresh(terminal.nodePath());
    EXPECT_EQ(terminal.openDescriptors(), 2);
    EXPECT_EQ(fresh.write(request("8001", 7)), 112);
    EXPECT_EQ(fresh.readText().substr(6, 4), "8001");
    old.close();
    fresh.close();
    EXPECT_EQ(terminal.openDescriptors(), 0);
    terminal.unplug();
    terminal.replug();
    EXPECT_EQ(terminal.nodePath(), "/dev/hidraw0");
    EXPECT_EQ(terminal.violations(), Texts());
}

TEST(DeviceNode, CanRefuseToBeOpened) {
    SimulatedTerminal terminal;
    terminal.refuseOpening(true);
    EXPECT_EQ(pdasim::test::enumerateHidraw().size(), 1U);
    const BareClient refused(terminal.nodePath());
    EXPECT_FALSE(refused.isOpen());
    EXPECT_EQ(terminal.openDescriptors(), 0);
    terminal.refuseOpening(false);
    const BareClient client(terminal.nodePath());
    EXPECT_TRUE(client.isOpen());
    EXPECT_EQ(client.write(request("8001", 1)), 112);
}

TEST(DeviceNode, TellsAboutItsDeviceWhenAsked) {
    SimulatedTerminal terminal;
    const BareClient client(terminal.nodePath());
    hidraw_devinfo information{};
    ASSERT_EQ(::ioctl(client.descriptor(), HIDIOCGRAWINFO, &information), 0);
    EXPECT_EQ(information.vendor, 0x1209);
    EXPECT_EQ(information.product, 1);
    std::array<char, 64> name{};
    ASSERT_GT(::ioctl(client.descriptor(), HIDIOCGRAWNAME(64), name.data()), 0);
    EXPECT_STREQ(name.data(), "Simulated terminals Handheld terminal");
    hidraw_report_descriptor descriptor{};
    int size = 0;
    ASSERT_EQ(::ioctl(client.descriptor(), HIDIOCGRDESCSIZE, &size), 0);
    descriptor.size = static_cast<__u32>(size);
    ASSERT_EQ(::ioctl(client.descriptor(), HIDIOCGRDESC, &descriptor), 0);
    EXPECT_EQ(descriptor.value[0], 0x06);
    EXPECT_EQ(descriptor.value[size - 1], 0xC0);
    terminal.unplug();
    EXPECT_EQ(::ioctl(client.descriptor(), HIDIOCGRAWINFO, &information), -1);
    EXPECT_EQ(errno, ENODEV);
}

TEST(DeviceNode, TellsClientsThatOutliveTheTerminalThatItIsGone) {
    auto terminal = std::make_unique<SimulatedTerminal>();
    BareClient client(terminal->nodePath());
    EXPECT_EQ(client.write(request("8001", 1)), 112);
    // Its reply is on its way: what is unread can still be read afterwards.
    ASSERT_EQ(client.poll(10s), POLLIN);
    terminal.reset();
    EXPECT_EQ(client.write(request("8001", 2)), -ENODEV);
    while (!client.read().empty()) {
    }
    EXPECT_EQ(client.readError(), EIO);
    EXPECT_EQ(client.write(request("8001", 2)), -ENODEV);
}

/// Without the sockets of umockdev's own server: it keeps the listening one for good, and a connection that
/// its thread had not yet seen when the test bed ended.
std::size_t descriptorsWithoutUmockdevs() {
    const std::string sockets = pdalink::test::readFile("/proc/net/unix");
    const Texts targets = pdalink::test::descriptorTargets();
    return static_cast<std::size_t>(
        std::count_if(targets.begin(), targets.end(), [&sockets](const std::string& target) {
            const std::string inode =
                target.substr(target.find('[') + 1, target.find(']') - target.find('[') - 1);
            const std::size_t entry = sockets.find(" " + inode + " ");
            const std::string line = sockets.substr(std::min(entry, sockets.size()));
            return line.substr(0, line.find('\n')).find("/ioctl/_default") == std::string::npos;
        }));
}

TEST(DeviceNode, LeavesNothingBehind) {
    // umockdev itself keeps a thread for good from the first test bed on, and an event descriptor of each of
    // them.
    constexpr std::size_t kKeptByUmockdev = 1;
    { const SimulatedTerminal first; }
    const int threads = pdalink::test::threadCount();
    const std::size_t descriptors = descriptorsWithoutUmockdevs();
    std::string root;
    constexpr std::size_t kRounds = 20;
    for (std::size_t i = 0; i < kRounds; ++i) {
        SimulatedTerminal terminal;
        root = terminal.testBed().rootDirectory();
        BareClient client(terminal.nodePath());
        ASSERT_EQ(client.write(request("8001", 1)), 112);
        ASSERT_EQ(client.readText().substr(6, 4), "8001");
        terminal.unplug();
        ASSERT_EQ(client.write(request("8001", 2)), -ENODEV);
        client.close();
        terminal.replug();
        ASSERT_EQ(terminal.nodePath(), "/dev/hidraw0");
    }
    EXPECT_TRUE(waitUntil([threads] { return pdalink::test::threadCount() <= threads; }))
        << pdalink::test::threadCount() << " threads instead of " << threads;
    EXPECT_TRUE(waitUntil([descriptors] {
        return descriptorsWithoutUmockdevs() <= descriptors + kKeptByUmockdev * kRounds;
    })) << descriptorsWithoutUmockdevs()
        << " descriptors, at first " << descriptors;
    for (const std::string& target : pdalink::test::descriptorTargets()) {
        EXPECT_EQ(target.find("/dev/pt"), std::string::npos) << target;
    }
    struct stat status {};
    EXPECT_NE(::stat(root.c_str(), &status), 0);
}

} // namespace
