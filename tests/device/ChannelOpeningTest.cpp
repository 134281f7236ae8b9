#include "ChannelFixture.h"
#include "OutputCapture.h"

#include <fcntl.h>
#include <type_traits>
#include <unistd.h>

namespace {

using pdalink::test::QtOutputCapture;
using pdalink::test::waitUntil;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(std::is_same_v<decltype(g_fd), std::atomic<int>>);
static_assert(std::is_same_v<decltype(g_hidRun), std::atomic<bool>>);
static_assert(std::is_same_v<decltype(g_isBufferCome), std::atomic<bool>>);

using ChannelOpening = ChannelTest;

TEST_F(ChannelOpening, StartsOneReceiverOnTheNode) {
    const QtOutputCapture output;
    EXPECT_TRUE(g_HIDDevice.openHidDevice());
    ASSERT_TRUE(waitUntil([] { return g_hidRun.load(); }));
    EXPECT_EQ(g_strSerialPort.toStdString(), terminal().nodePath());
    EXPECT_GE(g_fd, 0);
    EXPECT_TRUE(extraThreadsBecome(1));
    EXPECT_EQ(terminal().openDescriptors(), 1);
    EXPECT_FALSE(g_isBufferCome);
    EXPECT_EQ(buffer(), "");
    EXPECT_THAT(newLogTexts(4), ElementsAre(" VID/PID: 1209 0001\n", "Simulated terminals",
                                            "openHidDevice port: /dev/hidraw0", "port open success"));
    EXPECT_THAT(output.lines(), ElementsAre("port open success"));
}

TEST_F(ChannelOpening, OpensTheNodeWithoutBlockingAndNotForChildPrograms) {
    openChannel();
    const int flags = ::fcntl(g_fd, F_GETFL);
    EXPECT_EQ(flags & O_ACCMODE, O_RDWR);
    EXPECT_NE(flags & O_NONBLOCK, 0);
    EXPECT_NE(::fcntl(g_fd, F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(ChannelOpening, ThatFailsIsToldEndsTheReceiverAndCanSucceedLater) {
    terminal().refuseOpening(true);
    newLogTexts();
    const QtOutputCapture output;
    EXPECT_TRUE(g_HIDDevice.openHidDevice());
    ASSERT_TRUE(waitUntil([&output] { return !output.lines().empty(); }));
    EXPECT_TRUE(extraThreadsBecome(0));
    EXPECT_THAT(output.lines(), ElementsAre("port open fail"));
    EXPECT_THAT(newLogTexts(4), ElementsAre(" VID/PID: 1209 0001\n", "Simulated terminals",
                                            "openHidDevice port: /dev/hidraw0", "port open fail"));
    EXPECT_FALSE(g_hidRun);
    EXPECT_LT(g_fd, 0);
    EXPECT_EQ(terminal().openDescriptors(), 0);
    terminal().refuseOpening(false);
    openChannel();
    EXPECT_EQ(terminal().openDescriptors(), 1);
    EXPECT_TRUE(extraThreadsBecome(1));
}

TEST_F(ChannelOpening, ThatFailsLowersTheRunningFlagAndLeavesANegativeDescriptor) {
    terminal().refuseOpening(true);
    const int hostsOwn = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    g_fd = hostsOwn;
    g_hidRun = true; // as a host may have left it
    g_HIDDevice.openHidDevice();
    EXPECT_TRUE(waitUntil([] { return !g_hidRun && g_fd < 0; }));
    EXPECT_NE(::fcntl(hostsOwn, F_GETFD), -1) << "the receiver does not close the host's file";
    g_fd = -1;
    ::close(hostsOwn);
}

TEST_F(ChannelOpening, WithoutATerminalChangesNothingButThePath) {
    openChannel();
    stopChannel();
    terminal().unplug();
    const pthread_t thread = g_run_thread;
    g_strSerialPort = "/dev/hidraw9";
    g_hidRun = true;
    g_isBufferCome = true;
    setBuffer("left over");
    newLogTexts();
    EXPECT_TRUE(g_HIDDevice.openHidDevice());
    EXPECT_THAT(newLogTexts(), ElementsAre("openHidDevice port: "));
    EXPECT_EQ(g_strSerialPort, "");
    EXPECT_TRUE(g_hidRun);
    EXPECT_TRUE(g_isBufferCome);
    EXPECT_EQ(buffer(), "left over");
    EXPECT_EQ(g_fd, -1);
    EXPECT_NE(::pthread_equal(thread, g_run_thread), 0);
    g_isBufferCome = false;
    setBuffer("");
}

TEST_F(ChannelOpening, WithoutATerminalLetsARunningReceiverGoOn) {
    openChannel();
    const int descriptor = g_fd;
    const int thread = receiverThread();
    g_Pid = "ffff"; // no such device
    EXPECT_TRUE(g_HIDDevice.openHidDevice());
    EXPECT_EQ(g_strSerialPort, "");
    EXPECT_TRUE(g_hidRun);
    EXPECT_EQ(g_fd, descriptor);
    EXPECT_EQ(receiverThread(), thread);
    terminal().sendText("still heard");
    EXPECT_TRUE(becomesBuffered("still heard"));
    EXPECT_TRUE(g_HIDDevice.SendData(QString("still sent")));
}

TEST_F(ChannelOpening, ReplacesARunningReceiverAndLeavesNothingOver) {
    openChannel();
    clockid_t clock{};
    ASSERT_EQ(::pthread_getcpuclockid(g_run_thread, &clock), 0);
    timespec used{};
    ASSERT_EQ(::clock_gettime(clock, &used), 0);
    // The kernel's name of the clock carries the thread's number.
    EXPECT_EQ(~(clock >> 3), receiverThread());
    const int first = receiverThread();
    const int before = descriptors();
    terminal().sendText("before");
    ASSERT_TRUE(becomesBuffered("before"));
    for (int i = 0; i < 20; ++i) {
        if (i % 2 == 0) {
            stopChannel();
        }
        openChannel();
        EXPECT_TRUE(extraThreadsBecome(1));
        EXPECT_EQ(terminal().openDescriptors(), 1);
    }
    EXPECT_TRUE(descriptorsBecome(before));
    EXPECT_NE(receiverThread(), first);
    EXPECT_EQ(buffer(), "before") << "what was received is kept";
    EXPECT_TRUE(g_isBufferCome);
    terminal().sendText("once");
    EXPECT_TRUE(becomesBuffered("beforeonce"));
    EXPECT_TRUE(g_HIDDevice.SendData(QString("sent")));
}

TEST_F(ChannelOpening, LeavesTheOldTerminalForAnother) {
    openChannel();
    pdasim::SimulatedTerminal::Options options;
    options.device.productId = "0002";
    pdasim::SimulatedTerminal other(terminal().testBed(), options);
    g_Pid = "0002";
    openChannel();
    EXPECT_EQ(g_strSerialPort.toStdString(), other.nodePath());
    EXPECT_EQ(terminal().openDescriptors(), 0);
    EXPECT_EQ(other.openDescriptors(), 1);
    EXPECT_TRUE(g_HIDDevice.SendData(QString("hello")));
    EXPECT_THAT(other.received(), ElementsAre("hello"));
    EXPECT_THAT(terminal().received(), IsEmpty());
}

} // namespace
