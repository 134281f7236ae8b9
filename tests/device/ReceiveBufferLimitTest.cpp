#include "ChannelFixture.h"
#include "MemoryLimit.h"

#include <functional>

namespace {

using pdalink::test::waitUntil;

constexpr int kLimit = 16 * 1024 * 1024;

pdasim::SimulatedTerminal::Options bigReports() {
    pdasim::SimulatedTerminal::Options options;
    options.reportSize = 4000; // does not divide the limit
    return options;
}

/// An open channel with a terminal that talks while nobody listens.
class ReceiveBufferLimit : public ChannelTest {
protected:
    ReceiveBufferLimit() : ChannelTest(bigReports()) {}
    void SetUp() override { openChannel(); }

    void fill(int characters = kLimit, const std::string& character = "x") {
        const int before = bufferedCharacters();
        std::string text;
        for (int i = 0; i < characters; ++i) {
            text += character;
        }
        terminal().sendText(text);
        ASSERT_TRUE(waitUntil([before, characters] { return bufferedCharacters() == before + characters; },
                              std::chrono::seconds(90)));
    }
    /// Waits until the receiver has read something that may leave no trace in the buffer.
    void sendAndWait(const std::string& text) {
        g_isBufferCome = false;
        terminal().sendText(text);
        ASSERT_TRUE(waitUntil([] { return g_isBufferCome.load(); }));
    }
    void overflow() {
        sendAndWait("dropped");
        sendAndWait("dropped"); // the first one has been logged as well once the second is seen
    }
    int warnings() { return static_cast<int>(newLogTexts(3).size()); }
};

TEST_F(ReceiveBufferLimit, CountsCharactersAndWarnsOnceWhileItDrops) {
    fill(kLimit, "\xC3\xA9");
    EXPECT_EQ(warnings(), 0);
    for (int i = 0; i < 5; ++i) {
        overflow();
    }
    EXPECT_EQ(warnings(), 1);
    EXPECT_EQ(bufferedCharacters(), kLimit);
    EXPECT_EQ(g_HIDDevice.getBuffer().size(), kLimit);
    sendAndWait("good");
    EXPECT_EQ(g_HIDDevice.getBuffer(), "good");
}

TEST_F(ReceiveBufferLimit, KeepsTheBeginningAndDropsWhatComesBeyond) {
    sendAndWait("begin");
    fill(kLimit - 5 - 100);
    sendAndWait(std::string(100, 'y') + std::string(200, 'z'));
    sendAndWait("zzz");
    const QString all = buffer();
    ASSERT_EQ(all.size(), kLimit);
    EXPECT_EQ(all.left(6), "beginx");
    EXPECT_EQ(all.right(101), "x" + QString(100, 'y'));
}

TEST_F(ReceiveBufferLimit, WarnsAgainAfterItWasEmptied) {
    const std::function<void()> emptying[] = {
        [] { g_HIDDevice.getBuffer(); },
        [] { g_HIDDevice.clearBuffer(); },
        [] { EXPECT_TRUE(g_HIDDevice.SendData(QString("hello"))); },
    };
    for (const auto& empty : emptying) {
        fill();
        EXPECT_EQ(warnings(), 0);
        overflow();
        EXPECT_EQ(warnings(), 1);
        empty();
        newLogTexts();
        EXPECT_EQ(bufferedCharacters(), 0);
    }
    fill();
    overflow();
    EXPECT_EQ(warnings(), 1);
}

TEST_F(ReceiveBufferLimit, MayBeMoreThanTheMemoryHolds) {
    if (PDALINK_IS_SANITIZED) {
        GTEST_SKIP() << "the sanitizers need all of the address space";
    }
    // With the last report the text needs a block that is larger than what a thread has in reserve.
    const std::string last(2000, 'y');
    constexpr int before = kLimit - 2000;
    fill(before);
    {
        const pdalink::test::MemoryLimit limit(2UL * 1024 * 1024);
        if (!limit.isKept()) {
            GTEST_SKIP() << "memory is not limited here";
        }
        terminal().sendReport(last);
        EXPECT_TRUE(waitUntil([this] { return warnings() > 0; }));
    }
    EXPECT_EQ(bufferedCharacters(), before) << "what was there is kept";
    EXPECT_TRUE(g_hidRun);
    terminal().sendReport(last);
    EXPECT_TRUE(waitUntil([] { return bufferedCharacters() == kLimit; }));
}

} // namespace
