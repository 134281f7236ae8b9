#include "CallInterception.h"
#include "SenderKinds.h"

#include <cerrno>
#include <memory>
#include <mutex>

namespace {

using pdalink::test::waitUntil;
using testing::ElementsAre;
using testing::IsEmpty;

/// A closed channel whose node is opened only when the test lets it: after the sender has written.
class SenderOnAClosedChannel : public ChannelTest, public testing::WithParamInterface<SenderKind> {
protected:
    SenderOnAClosedChannel() {
        pdalink::test::Interception interception;
        interception.openedPath = terminal().nodePath();
        interception.openFile = [gate = m_gate] { const std::lock_guard wait(*gate); };
        pdalink::test::intercept(interception);
    }

    static const SenderKind& kind() { return GetParam(); }
    std::mutex& gate() { return *m_gate; }

private:
    std::shared_ptr<std::mutex> m_gate = std::make_shared<std::mutex>();
};

TEST_P(SenderOnAClosedChannel, OpensItButDoesNotWait) {
    const std::lock_guard held(gate());
    g_hidRun = true;
    EXPECT_FALSE(kind().send("hello"));
    EXPECT_FALSE(g_hidRun);
    EXPECT_TRUE(extraThreadsBecome(1));
    EXPECT_THAT(newLogTexts(4), ElementsAre(kind().notOpen, " VID/PID: 1209 0001\n", "Simulated terminals",
                                            "openHidDevice port: /dev/hidraw0", kind().failedLine(EBADF),
                                            kind().incompleteLine("hello", -1)));
    EXPECT_THAT(terminal().received(), IsEmpty());
}

TEST_P(SenderOnAClosedChannel, SucceedsOnceASlowNodeHasComeUp) {
    {
        const std::lock_guard held(gate());
        for (int i = 0; i < 3; ++i) {
            EXPECT_FALSE(kind().send("lost"));
        }
        EXPECT_TRUE(extraThreadsBecome(1));
    }
    ASSERT_TRUE(waitUntil([] { return g_hidRun.load(); }));
    newLogTexts();
    EXPECT_TRUE(kind().send("hello"));
    EXPECT_THAT(terminal().received(), ElementsAre("hello"));
    EXPECT_THAT(newLogTexts(), ElementsAre(kind().writtenLine("hello")));
    EXPECT_EQ(terminal().openDescriptors(), 1);
    EXPECT_TRUE(extraThreadsBecome(1));
}

INSTANTIATE_TEST_SUITE_P(Kind, SenderOnAClosedChannel, testing::Values(kSenders[1], kSenders[2]),
                         [](const auto& info) { return info.param.name; });

} // namespace
