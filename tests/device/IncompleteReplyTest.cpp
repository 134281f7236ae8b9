#include "ChannelFixture.h"

#include <atomic>
#include <thread>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A text of `length` characters whose length field says `stated`.
std::string messageOf(std::size_t length, int stated) {
    std::string text = std::to_string(1000000 + stated).substr(1);
    text.resize(length, 'x');
    return text;
}

/// An open channel on which a message comes, whole or not.
class IncompleteReply : public ChannelTest {
protected:
    void SetUp() override {
        openChannel();
        newLogTexts();
    }

    std::string received(const std::string& sent) {
        terminal().sendText(sent);
        return g_HIDDevice.getBuffer().toStdString();
    }
};

TEST_F(IncompleteReply, IsReturnedWithAWarningIfItIsShorterThanItsLengthField) {
    EXPECT_EQ(received(messageOf(30, 60)), messageOf(30, 60));
    EXPECT_THAT(newLogTexts(), ElementsAre("HID Read XML: " + messageOf(30, 60),
                                           "reply incomplete: 30 of 60 characters came in time"));
    received(messageOf(59, 60));
    EXPECT_THAT(newLogTexts(3), ElementsAre("reply incomplete: 59 of 60 characters came in time"));
    for (const std::string& whole :
         {messageOf(60, 60), messageOf(60, 30), std::string("000010终终终终"), // it counts characters
          std::string("00099"), std::string("+00999"), std::string(" 00999"), std::string("00099x")}) {
        received(whole);
        EXPECT_THAT(newLogTexts(3), IsEmpty()) << whole;
    }
}

/// A terminal whose reports come so slowly that a message does not fit into the settling time.
class SlowReports : public IncompleteReply {
protected:
    void configure(const std::string& line) {
        pdalink::test::writeIni("VID=1209\nPID=0001\n" + line + "\n");
        LoadLockConfig();
    }

    /// Takes a message that comes in ten reports, 40 ms apart. A machine that is too busy to send them so
    /// gets another chance.
    std::string takeSlowMessage(const std::string& message) {
        std::string taken;
        for (int attempt = 0; attempt < 5 && taken != message; ++attempt) {
            g_HIDDevice.clearBuffer();
            g_isBufferCome = false;
            std::thread sender([this, &message] {
                const std::size_t size = message.size() / 10;
                for (std::size_t at = 0; at < message.size(); at += size) {
                    terminal().sendReport(message.substr(at, size));
                    std::this_thread::sleep_for(Milliseconds(40));
                }
            });
            taken = g_HIDDevice.getBuffer().toStdString();
            sender.join();
        }
        return taken;
    }
};

TEST_F(SlowReports, AreWaitedForWhenTheConfigurationSaysSo) {
    configure("REPLY=whole");
    EXPECT_EQ(takeSlowMessage(messageOf(500, 500)), messageOf(500, 500));
}

TEST_F(SlowReports, AreNotWaitedForWithoutThatSetting) {
    const std::string message = messageOf(500, 500);
    std::atomic<bool> taken{false};
    std::thread sender([this, &message, &taken] {
        for (std::size_t at = 0; at < message.size() && !taken; at += 10) {
            terminal().sendReport(message.substr(at, 10));
            std::this_thread::sleep_for(Milliseconds(50));
        }
    });
    EXPECT_LT(g_HIDDevice.getBuffer().size(), 500);
    taken = true;
    sender.join();
}

TEST_F(SlowReports, AreGivenUpWhenNoMoreCome) {
    configure("REPLY=whole");
    terminal().sendText(messageOf(30, 60));
    const Milliseconds time = timeOf([] { EXPECT_EQ(g_HIDDevice.getBuffer().size(), 30); });
    EXPECT_GE(time, Milliseconds(110));
    EXPECT_LT(time, kSilentWait);
    EXPECT_THAT(newLogTexts(3), ElementsAre("reply incomplete: 30 of 60 characters came in time"));
}

TEST_F(SlowReports, AreNotWaitedForAfterAWholeMessage) {
    configure("REPLY=whole");
    std::atomic<bool> done{false};
    std::thread sender([this, &done] {
        terminal().sendReport(messageOf(60, 60));
        while (!done) {
            terminal().sendReport("y");
            std::this_thread::sleep_for(Milliseconds(20));
        }
    });
    EXPECT_LT(timeOf([] { g_HIDDevice.getBuffer(); }), kSilentWait);
    done = true;
    sender.join();
}

} // namespace
