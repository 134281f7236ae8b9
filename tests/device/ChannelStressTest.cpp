#include "ChannelFixture.h"

#include <thread>

namespace {

using pdalink::test::waitUntil;

constexpr char kTalk[] = "<Ex_RetCode>000000</Ex_RetCode>";

/// A terminal that talks all the time. What goes wrong here is seen by the thread sanitizer first.
class ChannelUnderTraffic : public ChannelTest {
protected:
    void SetUp() override {
        openChannel();
        m_talker = std::thread([this] {
            while (!m_finished) {
                terminal().sendText(kTalk);
                std::this_thread::sleep_for(std::chrono::microseconds(100));
            }
        });
    }
    ~ChannelUnderTraffic() override { stopTraffic(); }

    void stopTraffic() {
        m_finished = true;
        if (m_talker.joinable()) {
            m_talker.join();
        }
    }

private:
    std::atomic<bool> m_finished = false;
    std::thread m_talker;
};

TEST_F(ChannelUnderTraffic, SendsAndReceives) {
    int received = 0;
    for (int i = 0; i < 15; ++i) {
        EXPECT_TRUE(g_HIDDevice.SendData(QString("hello")));
        QString taken = g_HIDDevice.getBuffer();
        received += taken.isEmpty() ? 0 : 1; // a busy machine may let the talker rest
        EXPECT_EQ(taken.remove(kTalk), "") << "only whole reports";
        g_HIDDevice.clearBuffer();
    }
    EXPECT_GT(received, 0);
}

TEST_F(ChannelUnderTraffic, IsClosedAndOpenedAgain) {
    for (int i = 0; i < 30; ++i) {
        if (i % 3 == 0) {
            g_hidRun = false;
        }
        openChannel();
        EXPECT_TRUE(g_HIDDevice.SendData(QString("hello")));
        EXPECT_TRUE(extraThreadsBecome(2)); // the receiver and the talker
    }
    EXPECT_EQ(terminal().openDescriptors(), 1);
}

TEST_F(ChannelUnderTraffic, IsUnpluggedAndPluggedInAgain) {
    for (int i = 0; i < 5; ++i) {
        terminal().unplug();
        EXPECT_FALSE(g_HIDDevice.SendData(QString("lost")));
        terminal().replug();
        openChannel();
        EXPECT_TRUE(g_HIDDevice.SendData(QString("hello")));
    }
    EXPECT_EQ(terminal().openDescriptors(), 1);
    stopTraffic();
    EXPECT_TRUE(extraThreadsBecome(1));
}

TEST_F(ChannelUnderTraffic, LetsSendersOfOtherThreadsMeetItsClosing) {
    std::atomic<bool> finished = false;
    std::thread closer([&finished] {
        while (!finished) {
            g_hidRun = false;
            std::this_thread::sleep_for(std::chrono::milliseconds(3));
        }
    });
    char bytes[] = "hello";
    int sent = 0;
    waitUntil(
        [&sent, &bytes] {
            sent += g_HIDDevice.SendData(bytes, 5) ? 1 : 0;
            return sent >= 50;
        },
        std::chrono::seconds(10));
    EXPECT_GT(sent, 0);
    finished = true;
    closer.join();
}

} // namespace
