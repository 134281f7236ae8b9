#include "BlockedThread.h"
#include "CallInterception.h"
#include "ChannelFixture.h"
#include "SeparateProcess.h"

#include <cerrno>
#include <memory>
#include <optional>
#include <thread>
#include <unistd.h>

// One receiver at the most reads the node, and whatever a host does to its thread does no harm.

namespace {

using pdalink::test::BlockedCall;
using pdalink::test::waitUntil;
using testing::IsEmpty;

class ReceiverOwnership : public ChannelTest {
protected:
    void expectWorkingChannel() {
        openChannel();
        EXPECT_TRUE(extraThreadsBecome(1));
        EXPECT_EQ(terminal().openDescriptors(), 1);
        EXPECT_TRUE(g_HIDDevice.SendData(QString("hello")));
        terminal().sendText("reply");
        EXPECT_EQ(g_HIDDevice.getBuffer(), "reply");
    }
};

TEST_F(ReceiverOwnership, AHostsCallReturnsAtOnceWhileAnotherReceiverReads) {
    openChannel();
    const int descriptor = g_fd;
    newLogTexts();
    EXPECT_EQ(run_proc(nullptr), nullptr);
    EXPECT_TRUE(g_hidRun);
    EXPECT_EQ(g_fd, descriptor);
    EXPECT_EQ(terminal().openDescriptors(), 1);
    EXPECT_THAT(newLogTexts(), IsEmpty());
    terminal().sendText("still heard");
    EXPECT_TRUE(becomesBuffered("still heard"));
}

// The thread sanitizer takes a second join for an error of its own.
#ifndef __SANITIZE_THREAD__

TEST_F(ReceiverOwnership, SurvivesAHostThatDetachesTheRunningThreadOrJoinsTheEndedOne) {
    for (int i = 0; i < 3; ++i) {
        openChannel();
        ASSERT_EQ(::pthread_detach(g_run_thread), 0);
        openChannel(); // replaces it
    }
    expectWorkingChannel();
    stopChannel();
    ASSERT_EQ(::pthread_join(g_run_thread, nullptr), 0);
    expectWorkingChannel();
}

TEST_F(ReceiverOwnership, SurvivesAHostThatDetachesTheThreadBeforeItEnds) {
    openChannel();
    ASSERT_EQ(::pthread_detach(g_run_thread), 0);
    stopChannel();
    std::vector<std::thread> others; // which would be given the stack of a thread that is gone
    constexpr int count = 4;
    others.reserve(count);
    for (int i = 0; i < count; ++i) {
        others.emplace_back([] { std::this_thread::sleep_for(Milliseconds(300)); });
    }
    const Milliseconds time = timeOf([] { g_HIDDevice.openHidDevice(); });
    EXPECT_LT(time, Milliseconds(250)) << "waited for a thread of the host's";
    for (std::thread& other : others) {
        other.join();
    }
    expectWorkingChannel();
}

TEST_F(ReceiverOwnership, SurvivesAHostThatIsJoiningTheThread) {
    openChannel();
    int result = -1;
    BlockedCall joining([thread = g_run_thread, &result] { result = ::pthread_join(thread, nullptr); });
    EXPECT_TRUE(joining.isBlocked());
    openChannel(); // stops that thread
    joining.join();
    EXPECT_EQ(result, 0);
    expectWorkingChannel();
}

TEST_F(ReceiverOwnership, ChannelsEndWaitsForADetachedThreadToo) {
    std::optional<CHIDDevice> object(std::in_place);
    openChannel();
    ASSERT_EQ(::pthread_detach(g_run_thread), 0);
    object.reset();
    EXPECT_EQ(extraThreads(), 0) << "its code may be unloaded now";
    EXPECT_EQ(terminal().openDescriptors(), 0);
    EXPECT_EQ(g_fd, -1);
}

// The address sanitizer does not survive the forced unwinding of a thread that it watches, nor a late join.
#if !PDALINK_IS_SANITIZED

TEST_F(ReceiverOwnership, SurvivesAHostThatJoinsTheThreadAfterItsReplacement) {
    openChannel();
    const pthread_t replaced = g_run_thread;
    openChannel();
    EXPECT_EQ(::pthread_join(replaced, nullptr), EINVAL); // looks into the thread's stack
    expectWorkingChannel();
}

/// A host's own thread that can be cancelled in the middle of a call.
class CancelledCall : public ReceiverOwnership {
protected:
    static void expectCancelled(void* (*call)(void*), const std::function<bool()>& hasBegun) {
        pthread_t thread{};
        ASSERT_EQ(::pthread_create(&thread, nullptr, call, nullptr), 0);
        EXPECT_TRUE(waitUntil(hasBegun));
        ASSERT_EQ(::pthread_cancel(thread), 0);
        void* result = nullptr;
        ASSERT_EQ(::pthread_join(thread, &result), 0);
        EXPECT_EQ(result, PTHREAD_CANCELED);
    }
};

TEST_F(CancelledCall, OfTheReceiverClosesTheNode) {
    g_strSerialPort = QString::fromStdString(terminal().nodePath());
    expectCancelled(run_proc, [] { return g_hidRun.load(); });
    EXPECT_EQ(g_fd, -1);
    EXPECT_EQ(terminal().openDescriptors(), 0);
    expectWorkingChannel();
}

TEST_F(CancelledCall, OfTheWaitForAReplyLeavesTheChannelUsable) {
    openChannel();
    static std::atomic<bool> hasBegun{false};
    expectCancelled(
        [](void*) -> void* {
            hasBegun = true;
            g_HIDDevice.getBuffer();
            return nullptr;
        },
        [] { return hasBegun.load(); });
    expectWorkingChannel();
}

#endif

TEST_F(ReceiverOwnership, ACancelledThreadClosesTheNode) {
    openChannel();
    ASSERT_EQ(::pthread_cancel(g_run_thread), 0);
    EXPECT_TRUE(extraThreadsBecome(0));
    EXPECT_FALSE(g_hidRun);
    EXPECT_EQ(g_fd, -1);
    EXPECT_EQ(terminal().openDescriptors(), 0);
    expectWorkingChannel();
}

#endif

TEST_F(ReceiverOwnership, TheNodeIsNeverAStandardDescriptor) {
    const auto end = runInSeparateProcess([this] {
        for (const int number : {0, 1, 2}) {
            ::close(number);
        }
        openChannel();
        std::_Exit(100 + g_fd);
    });
    EXPECT_GT(end.exitCode, 102);
}

/// A host's own thread reads the node, and closes it only when the library has begun to wait for that.
class ReceiverOnAHostsThread : public ReceiverOwnership {
protected:
    void SetUp() override {
        g_strSerialPort = QString::fromStdString(terminal().nodePath());
        m_host = std::thread([] { run_proc(nullptr); });
        ASSERT_TRUE(waitUntil([] { return g_hidRun.load(); }));
        pdalink::test::Interception interception;
        interception.rest = [waits = m_waits, test = std::this_thread::get_id()] {
            *waits = *waits || std::this_thread::get_id() == test;
        };
        interception.descriptor = g_fd;
        interception.closeFile = [waits = m_waits] {
            EXPECT_TRUE(waitUntil([&waits] { return waits->load(); }, std::chrono::seconds(3)));
        };
        pdalink::test::intercept(interception);
    }
    void TearDown() override {
        m_host.join();
        pdalink::test::interceptNothing();
    }

private:
    std::shared_ptr<std::atomic<bool>> m_waits = std::make_shared<std::atomic<bool>>(false);
    std::thread m_host;
};

TEST_F(ReceiverOnAHostsThread, IsWaitedForWhenTheChannelIsClosed) {
    { const CHIDDevice object; }
    EXPECT_EQ(terminal().openDescriptors(), 0);
    EXPECT_EQ(g_fd, -1);
}

TEST_F(ReceiverOnAHostsThread, IsWaitedForWhenTheChannelIsOpenedAnew) {
    g_HIDDevice.openHidDevice();
    EXPECT_TRUE(waitUntil([] { return g_hidRun.load(); }));
    EXPECT_EQ(terminal().openDescriptors(), 1);
    terminal().sendText("once");
    EXPECT_TRUE(becomesBuffered("once"));
}

TEST_F(ReceiverOwnership, AHostsCallReturnsAtOnceWhileAnotherReceiverOpens) {
    bool returned = false;
    pdalink::test::Interception interception;
    interception.openedPath = terminal().nodePath();
    interception.openFile = [&returned] { // on the receiver's thread, just before it opens the node
        run_proc(nullptr);
        returned = true;
    };
    pdalink::test::intercept(interception);
    openChannel();
    pdalink::test::interceptNothing();
    EXPECT_TRUE(returned);
    EXPECT_EQ(terminal().openDescriptors(), 1);
}

} // namespace
