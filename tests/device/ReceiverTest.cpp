#include "CallInterception.h"
#include "ChannelFixture.h"
#include "OutputCapture.h"
#include "util/MutexGuard.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <memory>
#include <termios.h>
#include <thread>
#include <unistd.h>

namespace {

using pdalink::test::QtOutputCapture;
using pdalink::test::threadCpuTime;
using pdalink::test::waitUntil;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class ReceiverTest : public ChannelTest {
protected:
    /// True when stopping takes less than 50 ms, one time in many: a busy machine prolongs most of them.
    template <typename Preparation>
    bool stopsPromptly(Preparation prepare) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(40);
        do {
            openChannel();
            prepare();
            if (timeOf([this] { stopChannel(); }) < Milliseconds(50)) {
                return true;
            }
        } while (std::chrono::steady_clock::now() < deadline);
        return false;
    }
};

TEST_F(ReceiverTest, SeesAStopWithin50MillisecondsWhateverItDoes) {
    EXPECT_TRUE(stopsPromptly([] { std::this_thread::sleep_for(Milliseconds(30)); })) << "while idle";
    EXPECT_TRUE(stopsPromptly([this] {
        terminal().unplug();
        std::this_thread::sleep_for(Milliseconds(100));
        terminal().replug();
    })) << "after a hang-up";
    EXPECT_TRUE(stopsPromptly([this] {
        terminal().sendText(std::string(1000000, 'x'));
        ASSERT_TRUE(waitUntil([] { return bufferedCharacters() > 0; }));
        g_HIDDevice.clearBuffer();
    })) << "while reports come";
}

TEST_F(ReceiverTest, ClosesOnlyItsOwnDescriptor) {
    openChannel();
    const int hostsOwn = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    g_fd = hostsOwn;
    stopChannel();
    EXPECT_EQ(terminal().openDescriptors(), 0);
    EXPECT_EQ(g_fd, hostsOwn);
    EXPECT_NE(::fcntl(hostsOwn, F_GETFD), -1);
    g_fd = -1;
    ::close(hostsOwn);
}

TEST_F(ReceiverTest, GoesOnSilentlyAfterAHangUp) {
    openChannel();
    newLogTexts();
    const QtOutputCapture output;
    const auto rests = std::make_shared<std::atomic<int>>(0);
    pdalink::test::Interception interception;
    interception.rest = [rests] { ++*rests; };
    pdalink::test::intercept(interception);
    terminal().unplug();
    EXPECT_TRUE(waitUntil([&rests] { return *rests >= 3; })); // it looks at the node in between
    pdalink::test::interceptNothing();
    EXPECT_TRUE(g_hidRun);
    EXPECT_GE(g_fd, 0);
    EXPECT_TRUE(extraThreadsBecome(1));
    EXPECT_FALSE(g_isBufferCome);
    EXPECT_THAT(newLogTexts(), IsEmpty());
    EXPECT_THAT(output.lines(), IsEmpty());
}

TEST_F(ReceiverTest, ReadsWhatWasQueuedBeforeTheDeviceWent) {
    openChannel();
    {
        const MutexGuard guard(g_lock_buffer); // the receiver cannot append
        for (const char* text : {"one ", "two ", "three ", "four"}) {
            terminal().sendReport(text);
        }
        terminal().unplug();
    }
    EXPECT_TRUE(becomesBuffered("one two three four"));
}

TEST_F(ReceiverTest, DrainsBurstsThatFillTheKernelsQueue) {
    openChannel();
    QString expected;
    for (int burst = 0; burst < 10; ++burst) {
        std::string reports;
        for (int i = 0; i < 63; ++i) {
            reports += std::to_string(burst * 100 + i);
            reports.resize((static_cast<std::size_t>(i) + 1) * 64, ';');
        }
        expected += QString::fromStdString(reports);
        terminal().sendText(reports);
        ASSERT_TRUE(becomesBuffered(expected));
    }
    EXPECT_EQ(terminal().lostReports(), 0U);
}

TEST_F(ReceiverTest, RunsOnAHostsThreadToo) {
    g_strSerialPort = QString::fromStdString(terminal().nodePath());
    newLogTexts();
    void* result = this;
    std::thread host([this, &result] { result = run_proc(this); }); // the argument does not matter
    ASSERT_TRUE(waitUntil([] { return g_hidRun.load(); }));
    EXPECT_EQ(run_proc(nullptr), nullptr) << "another one returns at once";
    EXPECT_GE(g_fd, 0);
    EXPECT_EQ(terminal().openDescriptors(), 1);
    EXPECT_THAT(newLogTexts(4), ElementsAre("port open success"));
    terminal().sendText("hello");
    EXPECT_TRUE(becomesBuffered("hello"));
    EXPECT_TRUE(g_HIDDevice.SendData(QString("answer")));
    g_hidRun = false;
    host.join();
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(g_fd, -1);
    EXPECT_EQ(terminal().openDescriptors(), 0);
}

TEST_F(ReceiverTest, OnAHostsThreadReturnsWhenTheNodeCannotBeOpened) {
    g_strSerialPort = "";
    newLogTexts();
    const QtOutputCapture output;
    EXPECT_EQ(run_proc(nullptr), nullptr);
    EXPECT_THAT(newLogTexts(4), ElementsAre("port open fail"));
    EXPECT_THAT(output.lines(), ElementsAre("port open fail"));
    EXPECT_FALSE(g_hidRun);
    EXPECT_LT(g_fd, 0);
}

/// A receiver on a plain pseudo-terminal, where each system call costs no more than on a real node.
class ReceiverOnAPlainNode : public ReceiverTest {
protected:
    ReceiverOnAPlainNode() : m_master(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        ::grantpt(m_master);
        ::unlockpt(m_master);
        termios settings{};
        ::tcgetattr(m_master, &settings);
        ::cfmakeraw(&settings);
        ::tcsetattr(m_master, TCSANOW, &settings);
        g_strSerialPort = ::ptsname(m_master);
        m_host = std::thread([] { run_proc(nullptr); });
        EXPECT_TRUE(waitUntil([] { return g_hidRun.load(); }));
    }
    ~ReceiverOnAPlainNode() override {
        g_hidRun = false;
        m_host.join();
        hangUp();
    }

    void hangUp() {
        if (m_master >= 0) {
            ::close(m_master);
        }
        m_master = -1;
    }
    void sendByte() { ASSERT_EQ(::write(m_master, "x", 1), 1); }
    /// How often the receiver has waited for something so far.
    long wakeUps() const {
        std::ifstream status("/proc/self/task/" + std::to_string(receiverThread()) + "/status");
        std::string word;
        long count = -1;
        while (status >> word && word != "voluntary_ctxt_switches:") {
        }
        status >> count;
        return count;
    }
    /// True when the receiver needs less than one percent of a core, in one of some periods: on a busy
    /// machine the same work may take longer. One that spins gets more than that in each of them.
    bool isFrugal() const {
        constexpr Milliseconds period(2000);
        for (int attempt = 0; attempt < 10; ++attempt) {
            const int thread = receiverThread();
            const auto before = threadCpuTime(thread);
            std::this_thread::sleep_for(period);
            if (threadCpuTime(thread) - before < period / 100) {
                return true;
            }
        }
        return false;
    }

private:
    int m_master;
    std::thread m_host;
};

TEST_F(ReceiverOnAPlainNode, WakesUpNoMoreThan25TimesASecondWhileIdle) {
    const long before = wakeUps();
    std::this_thread::sleep_for(Milliseconds(2000));
    EXPECT_LE(wakeUps() - before, 50);
}

TEST_F(ReceiverOnAPlainNode, CostsLessThanOnePercentOfACoreWhileIdleAndAfterAHangUp) {
    EXPECT_TRUE(isFrugal());
    hangUp();
    EXPECT_TRUE(isFrugal());
}

TEST_F(ReceiverOnAPlainNode, TakesInputAsPromptlyAsASpinningReader) {
    // A reader that sleeps 10 ms between its looks is as prompt as this only one time in five.
    constexpr auto prompt = std::chrono::milliseconds(2);
    constexpr int tries = 60;
    int best = 0;
    for (int round = 0; round < 5 && best < tries / 2; ++round) { // a busy machine may spoil some rounds
        int promptOnes = 0;
        g_HIDDevice.clearBuffer();
        for (int i = 1; i <= tries; ++i) {
            std::this_thread::sleep_for(std::chrono::microseconds(5000 + 170 * i));
            const auto begin = std::chrono::steady_clock::now();
            sendByte();
            while (bufferedCharacters() < i) {
                std::this_thread::sleep_for(std::chrono::microseconds(20));
            }
            promptOnes += std::chrono::steady_clock::now() - begin < prompt ? 1 : 0;
        }
        best = std::max(best, promptOnes);
    }
    EXPECT_GE(best, tries / 2);
}

/// pthread_create fails on the thread of the test.
class ReceiverThatCannotBeCreated : public ReceiverTest {
protected:
    ReceiverThatCannotBeCreated() {
        pdalink::test::Interception interception;
        interception.createThread = [test = std::this_thread::get_id()] {
            return std::this_thread::get_id() == test ? EAGAIN : 0;
        };
        m_interception = interception;
    }
    ~ReceiverThatCannotBeCreated() override { pdalink::test::interceptNothing(); }
    void failFromNowOn() { pdalink::test::intercept(m_interception); }

private:
    pdalink::test::Interception m_interception;
};

TEST_F(ReceiverThatCannotBeCreated, IsLoggedAsAWarningAndCanBeCreatedLater) {
    for (const bool isOpenBefore : {false, true}) {
        if (isOpenBefore) {
            openChannel();
        }
        newLogTexts();
        failFromNowOn();
        EXPECT_TRUE(g_HIDDevice.openHidDevice());
        EXPECT_THAT(newLogTexts(3), SizeIs(1));
        EXPECT_FALSE(g_hidRun);
        EXPECT_EQ(g_fd, -1);
        EXPECT_TRUE(extraThreadsBecome(0));
        EXPECT_EQ(terminal().openDescriptors(), 0);
        pdalink::test::interceptNothing();
    }
    openChannel();
    EXPECT_TRUE(extraThreadsBecome(1));
    EXPECT_TRUE(g_HIDDevice.SendData(QString("hello")));
}

} // namespace
