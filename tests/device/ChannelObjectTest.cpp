#include "ChannelFixture.h"
#include "OutputCapture.h"
#include "SeparateProcess.h"

#include <fcntl.h>
#include <optional>
#include <unistd.h>

namespace {

using pdalink::test::QtOutputCapture;
using pdalink::test::waitUntil;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

using ChannelObject = ChannelTest;

bool isOpen(int descriptor) {
    return ::fcntl(descriptor, F_GETFD) != -1;
}

int openNull() {
    return ::open("/dev/null", O_RDWR | O_CLOEXEC);
}

TEST_F(ChannelObject, EachActsOnTheOneChannel) {
    CHIDDevice other;
    other.openHidDevice();
    ASSERT_TRUE(waitUntil([] { return g_hidRun.load(); }));
    EXPECT_TRUE(g_HIDDevice.SendData(QString("one")));
    EXPECT_TRUE(other.SendData(QString("two")));
    EXPECT_THAT(terminal().received(), ElementsAre("one", "two"));
    terminal().sendText("reply");
    EXPECT_EQ(g_HIDDevice.getBuffer(), "reply");
    terminal().sendText("another");
    EXPECT_EQ(other.getBuffer(), "another");
}

TEST_F(ChannelObject, IsConstructedWithTheDescriptorMinusOneAndClosesAHostsAtItsEnd) {
    const int hostsOwn = openNull();
    g_fd = hostsOwn;
    {
        const CHIDDevice object;
        EXPECT_EQ(g_fd, -1);
        EXPECT_TRUE(isOpen(hostsOwn));
        g_fd = hostsOwn;
    }
    EXPECT_FALSE(isOpen(hostsOwn));
    EXPECT_EQ(g_fd, -1);
}

TEST_F(ChannelObject, ConstructedBesideARunningReceiverDoesNotLoseItsNode) {
    openChannel();
    const CHIDDevice object;
    EXPECT_EQ(g_fd, -1);
    EXPECT_TRUE(extraThreadsBecome(1));
    terminal().sendText("still heard");
    EXPECT_TRUE(becomesBuffered("still heard"));
    stopChannel();
    EXPECT_EQ(terminal().openDescriptors(), 0);
}

TEST_F(ChannelObject, StopsTheReceiverAtItsEnd) {
    std::optional<CHIDDevice> object(std::in_place);
    openChannel();
    g_isBufferCome = true;
    const QtOutputCapture output;
    object.reset();
    EXPECT_TRUE(extraThreadsBecome(0)); // at once: it waits for the thread's end
    EXPECT_EQ(terminal().openDescriptors(), 0);
    EXPECT_EQ(g_fd, -1);
    EXPECT_FALSE(g_hidRun);
    EXPECT_FALSE(g_isBufferCome);
    EXPECT_THAT(output.lines(), ElementsAre("~CHIDDevice"));
    object.emplace();
    openChannel(); // again
    EXPECT_EQ(terminal().openDescriptors(), 1);
    stopChannel();
    object.reset(); // with a receiver that has ended by itself
    EXPECT_EQ(g_fd, -1);
}

TEST_F(ChannelObject, ClosesAHostsDescriptorAndTheNodeAtItsEnd) {
    std::optional<CHIDDevice> object(std::in_place);
    openChannel();
    const int hostsOwn = openNull();
    g_fd = hostsOwn;
    object.reset();
    EXPECT_FALSE(isOpen(hostsOwn));
    EXPECT_EQ(g_fd, -1);
    EXPECT_EQ(terminal().openDescriptors(), 0);
}

using ChannelAtTheEndOfTheProcess = ChannelTest;

TEST_F(ChannelAtTheEndOfTheProcess, IsStopped) {
    const pdalink::test::ProgramResult end = runInSeparateProcess([this] {
        openChannel();
        std::fputs("open\n", stderr);
        std::exit(g_hidRun ? 7 : 1);
    });
    EXPECT_EQ(end.exitCode, 7) << end.errors;
    EXPECT_THAT(end.errors, AllOf(HasSubstr("open\n"), HasSubstr("~CHIDDevice")));
}

} // namespace
