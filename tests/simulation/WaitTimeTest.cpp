#include "VirtualTest.h"

#include "device/Channel.h"
#include "device/HIDDevice.h"
#include "tests/device/StatedLength.h"
#include "util/LockConfig.h"

#include <gmock/gmock.h>
#include <pthread.h>

// How long a reply is waited for, to the millisecond.

using namespace pdalink::test;
using namespace std::chrono_literals;
using testing::IsEmpty;
using virtual_time::Time;

namespace {

class WaitTime : public VirtualTest {
protected:
    WaitTime() { openWith(VirtualNode::ini()); }

    void openWith(const std::string& ini) {
        m_directory.writeIni(ini);
        LoadLockConfig();
        pdalink::channel::open();
        virtual_time::waitUntil(virtual_time::now() + 1s, nullptr);
        restartClock();
    }

    /// Delivers pieces of a message, the first one after 5 ms.
    void deliver(const std::string& message, std::size_t pieces, Time pause) {
        const std::size_t size = message.size() / pieces;
        for (std::size_t i = 0; i < pieces; ++i) {
            deliverAfter(5ms + i * pause, {message.substr(i * size, size)});
        }
    }

    static std::string received() { return pdalink::channel::receive().toStdString(); }
};

/// As the configuration can ask for it.
class WaitTimeForWholeReplies : public WaitTime {
protected:
    WaitTimeForWholeReplies() { openWith(VirtualNode::ini() + "REPLY=whole\n"); }
};

TEST_F(WaitTime, OfASilentTerminalHas490Polls) {
    EXPECT_THAT(received(), IsEmpty());
    EXPECT_EQ(passed(), 490 * 10ms);
}

TEST_F(WaitTime, TakesWhatIsThereThoughNobodyAnnouncedIt) {
    g_buffer = "without a flag";
    EXPECT_EQ(received(), "without a flag");
    EXPECT_EQ(passed(), 490 * 10ms);
    EXPECT_THAT(g_buffer.toStdString(), IsEmpty());
}

TEST_F(WaitTime, GivesTheRestOfAReply100MillisecondsOnceItIsSeen) {
    deliverAfter(502ms, {"late"});
    EXPECT_EQ(received(), "late");
    EXPECT_EQ(passed(), 510ms + 100ms);
}

TEST_F(WaitTime, TakesWhatComesUntilTheBufferIsTaken) {
    const auto holdBuffer = [](void* /*argument*/) -> void* {
        virtual_time::waitUntil(virtual_time::now() + 4895ms, nullptr); // after the last poll
        g_lock_buffer.Lock();
        virtual_time::waitUntil(virtual_time::now() + 50ms, nullptr);
        g_buffer = "last moment";
        g_isBufferCome = true;
        g_lock_buffer.Unlock();
        return nullptr;
    };
    pthread_t thread{};
    pthread_create(&thread, nullptr, holdBuffer, nullptr);
    EXPECT_EQ(received(), "last moment");
    EXPECT_EQ(passed(), 4945ms);
    EXPECT_FALSE(g_isBufferCome);
    pthread_join(thread, nullptr);
}

TEST_F(WaitTime, EndsWithinASlowReplyWithoutTheSetting) {
    deliver(messageOf(500, 500), 10, 40ms);
    EXPECT_EQ(received(), messageOf(150, 500));
    EXPECT_EQ(passed(), 110ms);
}

TEST_F(WaitTimeForWholeReplies, LastsUntilASlowReplyIsThere) {
    deliver(messageOf(500, 500), 10, 99ms);
    EXPECT_EQ(received(), messageOf(500, 500));
    EXPECT_EQ(passed(), 900ms); // the poll after the last of ten pieces
}

TEST_F(WaitTimeForWholeReplies, EndsAtAPauseOf100Milliseconds) {
    deliver(messageOf(500, 500), 10, 110ms);
    EXPECT_EQ(received(), messageOf(50, 500));
    EXPECT_EQ(passed(), 110ms);
}

TEST_F(WaitTimeForWholeReplies, EndsAsSoonAsAPauseHasLasted100Milliseconds) {
    deliver(messageOf(100, 500), 2, 95ms);
    EXPECT_EQ(received(), messageOf(100, 500));
    EXPECT_EQ(passed(), 200ms); // the last piece came after 100
}

TEST_F(WaitTimeForWholeReplies, IsNotLongerForAWholeReply) {
    deliver(messageOf(600, 60), 60, 20ms); // whole after six pieces
    EXPECT_EQ(received(), messageOf(60, 60));
    EXPECT_EQ(passed(), 110ms);
}

TEST_F(WaitTimeForWholeReplies, OfAReplyWithoutAnEndIsOverAfterAMinute) {
    deliver(messageOf(9000, 999999), 900, 80ms);
    EXPECT_EQ(received().size(), 7520U);
    EXPECT_EQ(passed(), 110ms + 60s);
}

} // namespace
