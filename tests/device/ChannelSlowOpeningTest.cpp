#include "CallInterception.h"
#include "ChannelFixture.h"

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

namespace {

using pdalink::test::waitUntil;
using testing::ElementsAre;

/// Holds every opening of a node until it is let through.
class OpeningGate {
public:
    void pass() {
        std::unique_lock lock(m_mutex);
        ++m_openings;
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return m_isOpen; });
    }
    void letThrough() {
        const std::lock_guard lock(m_mutex);
        m_isOpen = true;
        m_changed.notify_all();
    }
    int openings() {
        const std::lock_guard lock(m_mutex);
        return m_openings;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_openings = 0;
    bool m_isOpen = false;
};

/// The terminal's node takes its time to open.
class ChannelSlowOpening : public ChannelTest {
protected:
    ChannelSlowOpening() {
        pdalink::test::Interception interception;
        interception.openedPath = terminal().nodePath();
        interception.openFile = [gate = m_gate] { gate->pass(); };
        interception.rest = [rests = m_rests, test = std::this_thread::get_id()] {
            *rests += std::this_thread::get_id() == test ? 1 : 0;
        };
        pdalink::test::intercept(interception);
    }
    ~ChannelSlowOpening() override { m_gate->letThrough(); }

    OpeningGate& gate() { return *m_gate; }

    void beginOpening() {
        g_HIDDevice.openHidDevice();
        ASSERT_TRUE(waitUntil([this] { return gate().openings() == 1; }));
    }

    /// Runs something as soon as this thread waits for the end of the receiver, then lets its opening
    /// through.
    template <typename Action>
    std::thread whenToldToStop(Action action, int rests = 1) {
        g_hidRun = true;
        return std::thread([this, action, rests] {
            EXPECT_TRUE(waitUntil([this, rests] { return *m_rests >= rests; }));
            EXPECT_FALSE(g_hidRun);
            action();
            gate().letThrough();
        });
    }

private:
    std::shared_ptr<OpeningGate> m_gate = std::make_shared<OpeningGate>();
    std::shared_ptr<std::atomic<int>> m_rests = std::make_shared<std::atomic<int>>(0);
};

TEST_F(ChannelSlowOpening, IsClosedMeanwhileAndComesUpInTheEnd) {
    beginOpening();
    EXPECT_EQ(g_fd, -1);
    EXPECT_FALSE(g_hidRun);
    EXPECT_TRUE(extraThreadsBecome(1));
    newLogTexts();
    EXPECT_FALSE(g_HIDDevice.SendData(QString("too early")));
    EXPECT_THAT(newLogTexts(), ElementsAre("hid device is not open"));
    gate().letThrough();
    EXPECT_TRUE(waitUntil([] { return g_hidRun.load(); }));
    EXPECT_TRUE(g_HIDDevice.SendData(QString("in time")));
    EXPECT_THAT(terminal().received(), ElementsAre("in time"));
}

TEST_F(ChannelSlowOpening, IsNotBegunAnewForTheSameNode) {
    beginOpening();
    const int thread = receiverThread();
    const pthread_t handle = g_run_thread;
    newLogTexts();
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(g_HIDDevice.openHidDevice());
    }
    EXPECT_EQ(newLogTexts().back(), "openHidDevice port: /dev/hidraw0");
    EXPECT_EQ(g_strSerialPort, "/dev/hidraw0");
    EXPECT_EQ(gate().openings(), 1);
    EXPECT_EQ(receiverThread(), thread);
    EXPECT_NE(::pthread_equal(handle, g_run_thread), 0);
    gate().letThrough();
    EXPECT_TRUE(waitUntil([] { return g_hidRun.load(); }));
    EXPECT_EQ(gate().openings(), 1);
    EXPECT_EQ(terminal().openDescriptors(), 1);
}

TEST_F(ChannelSlowOpening, IsGivenUpForAnotherNode) {
    beginOpening();
    pdasim::SimulatedTerminal::Options options;
    options.device.productId = "0002";
    pdasim::SimulatedTerminal other(terminal().testBed(), options);
    g_Pid = "0002";
    std::thread helper = whenToldToStop([] {});
    g_HIDDevice.openHidDevice();
    helper.join();
    EXPECT_TRUE(waitUntil([] { return g_hidRun.load(); }));
    EXPECT_TRUE(extraThreadsBecome(1));
    EXPECT_EQ(terminal().openDescriptors(), 0);
    EXPECT_EQ(other.openDescriptors(), 1);
    EXPECT_TRUE(g_HIDDevice.SendData(QString("hello")));
    EXPECT_THAT(other.received(), ElementsAre("hello"));
}

TEST_F(ChannelSlowOpening, ThatWasStoppedIsWaitedForAndClosesTheNodeAgain) {
    beginOpening();
    constexpr int longTime = 2500; // of a millisecond each: longer than anything else is waited for
    std::thread helper = whenToldToStop([] {}, longTime);
    { const CHIDDevice object; }
    EXPECT_FALSE(g_hidRun);
    EXPECT_EQ(g_fd, -1);
    helper.join();
    EXPECT_TRUE(extraThreadsBecome(0));
    EXPECT_EQ(terminal().openDescriptors(), 0);
}

/// Whether it fails in the end.
class SlowOpeningThatWasStopped : public ChannelSlowOpening, public testing::WithParamInterface<bool> {};

TEST_P(SlowOpeningThatWasStopped, LeavesTheRunningFlagAlone) {
    beginOpening();
    std::thread helper = whenToldToStop([this] {
        terminal().refuseOpening(GetParam());
        g_hidRun = true;
    });
    { const CHIDDevice object; }
    helper.join();
    EXPECT_TRUE(extraThreadsBecome(0));
    EXPECT_TRUE(g_hidRun);
    EXPECT_EQ(terminal().openDescriptors(), 0);
}

INSTANTIATE_TEST_SUITE_P(And, SlowOpeningThatWasStopped, testing::Bool(),
                         [](const auto& info) { return info.param ? "Fails" : "Succeeds"; });

} // namespace
