#include "BlockedThread.h"
#include "ChannelFixture.h"
#include "util/MutexGuard.h"

#include <QCoreApplication>
#include <QTimer>
#include <functional>
#include <thread>

namespace {

using pdalink::test::BlockedCall;
using pdalink::test::waitUntil;
using testing::ElementsAre;

/// An open channel on which something is waited for.
class ReplyWait : public ChannelTest {
protected:
    void SetUp() override { openChannel(); }

    void sendAndWait(const char* text) {
        terminal().sendText(text);
        ASSERT_TRUE(waitUntil([] { return g_isBufferCome.load(); }));
    }
};

TEST_F(ReplyWait, TakesWhatIsThereAndLowersTheFlag) {
    sendAndWait("<a>1</a>");
    newLogTexts();
    const Milliseconds time = timeOf([] { EXPECT_EQ(g_HIDDevice.getBuffer(), "<a>1</a>"); });
    EXPECT_GE(time, kPromptWait) << "the rest of a message is given time";
    EXPECT_LT(time, kSilentWait);
    EXPECT_EQ(buffer(), "");
    EXPECT_FALSE(g_isBufferCome);
    EXPECT_THAT(newLogTexts(4), ElementsAre("HID Read XML: <a>1</a>"));
}

TEST_F(ReplyWait, IsShortenedByAnOldFlag) {
    const std::function<void()> emptying[] = {
        [] { g_HIDDevice.SendData(QString("next message")); }, // empties the buffer, leaves the flag alone
        [] { g_HIDDevice.clearBuffer(); },
    };
    for (const auto& empty : emptying) {
        sendAndWait("nobody takes this");
        empty();
        QString taken = "something";
        const Milliseconds time = timeOf([&taken] { taken = g_HIDDevice.getBuffer(); });
        EXPECT_EQ(taken, "");
        EXPECT_GE(time, kPromptWait);
        EXPECT_LT(time, kSilentWait);
        EXPECT_FALSE(g_isBufferCome);
    }
    terminal().sendReport(std::string(64, '\0'));
    ASSERT_TRUE(waitUntil([] { return g_isBufferCome.load(); }));
    EXPECT_LT(timeOf([] { EXPECT_EQ(g_HIDDevice.getBuffer(), ""); }), kSilentWait) << "a report without text";
    EXPECT_FALSE(g_isBufferCome);
}

TEST_F(ReplyWait, LeavesForLaterWhatComesAfterIt) {
    sendAndWait("first part");
    EXPECT_EQ(g_HIDDevice.getBuffer(), "first part");
    terminal().sendText("second part");
    ASSERT_TRUE(becomesBuffered("second part"));
    EXPECT_TRUE(g_isBufferCome);
    EXPECT_TRUE(g_HIDDevice.SendData(QString("next message")));
    EXPECT_EQ(buffer(), "") << "the next send drops it";
}

TEST_F(ReplyWait, TakesTheBufferUnderItsLockTogetherWithItsFlag) {
    sendAndWait("reply");
    g_lock_buffer.Lock();
    QString taken;
    BlockedCall waiting([&taken] { taken = g_HIDDevice.getBuffer(); });
    EXPECT_TRUE(waiting.isBlockedOn(g_lock_buffer));
    EXPECT_TRUE(g_isBufferCome) << "the flag is lowered under the same hold";
    EXPECT_EQ(g_buffer, "reply");
    g_buffer = "last moment";
    g_lock_buffer.Unlock();
    waiting.join();
    EXPECT_EQ(taken, "last moment");
    EXPECT_FALSE(g_isBufferCome);
}

TEST_F(ReplyWait, LeavesTheFlagUpExactlyForWhatItHasNotTaken) {
    std::atomic<bool> finished = false;
    std::thread talker([this, &finished] {
        while (!finished) {
            terminal().sendReport("x");
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    });
    for (int i = 0; i < 20; ++i) {
        EXPECT_NE(g_HIDDevice.getBuffer(), "");
        const MutexGuard guard(g_lock_buffer);
        EXPECT_EQ(g_isBufferCome, !g_buffer.isEmpty());
    }
    finished = true;
    talker.join();
}

/// The same in a host with an event loop: its events are handled during the wait.
class ReplyWaitAmongEvents : public ReplyWait {
protected:
    /// Sends something and waits, inside an event, until the receiver has it.
    void sendInside(const char* text) {
        terminal().sendText(text);
        EXPECT_TRUE(waitUntil([text] { return buffer().endsWith(text); }));
    }

private:
    int m_argumentCount = 1;
    char m_name[5] = "host";
    char* m_arguments[2] = {m_name, nullptr};
    QCoreApplication m_application{m_argumentCount, m_arguments};
};

TEST_F(ReplyWaitAmongEvents, JoinsReportsThatComeWithin100Milliseconds) {
    QString taken;
    // A machine that is too busy to run the second event in time gets another chance.
    for (int attempt = 0; attempt < 5 && taken != "first second"; ++attempt) {
        g_HIDDevice.clearBuffer();
        bool sentAll = false;
        QTimer::singleShot(20, [this, &sentAll] {
            sendInside("first ");
            QTimer::singleShot(50, [this, &sentAll] {
                sendInside("second");
                sentAll = true;
            });
        });
        taken = g_HIDDevice.getBuffer();
        while (!sentAll) {
            QCoreApplication::processEvents();
        }
    }
    EXPECT_EQ(taken, "first second");
}

} // namespace
