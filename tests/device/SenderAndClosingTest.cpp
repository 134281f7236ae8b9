#include "BlockedThread.h"
#include "CallInterception.h"
#include "SenderKinds.h"

#include <memory>
#include <mutex>
#include <thread>

namespace {

using pdalink::test::becomesBlocked;
using pdalink::test::intercept;
using pdalink::test::Interception;
using pdalink::test::interceptNothing;
using pdalink::test::waitUntil;

/// What happens to the node's descriptor when the receiver closes it.
class SenderAndClosing : public ChannelTest, public testing::WithParamInterface<SenderKind> {
protected:
    void SetUp() override {
        openChannel();
        m_node = g_fd;
    }
    ~SenderAndClosing() override { interceptNothing(); }

    int node() const { return m_node; }

private:
    int m_node = -1;
};

TEST_P(SenderAndClosing, ExcludeEachOther) {
    struct Seen {
        std::mutex writing;
        std::atomic<bool> writes{false};
        std::atomic<bool> closes{false};
    };
    const auto seen = std::make_shared<Seen>();
    Interception interception;
    interception.descriptor = node();
    interception.writeFile = [seen] {
        seen->writes = true;
        const std::lock_guard wait(seen->writing);
    };
    interception.closeFile = [seen] { seen->closes = true; };
    intercept(interception);
    const pid_t receiver = receiverThread();
    std::thread sender;
    bool sent = false;
    {
        const std::lock_guard held(seen->writing);
        sender = std::thread([&sent] { sent = GetParam().send("hello"); });
        ASSERT_TRUE(waitUntil([&seen] { return seen->writes.load(); }));
        g_hidRun = false; // the receiver wants to close the node
        EXPECT_TRUE(becomesBlocked(receiver));
        EXPECT_FALSE(seen->closes);
    }
    sender.join();
    EXPECT_TRUE(sent);
    EXPECT_TRUE(waitUntil([&seen] { return seen->closes.load(); }));
}

TEST_P(SenderAndClosing, DoNotMeetOnAClosedDescriptor) {
    std::atomic<int> atClosing = -2;
    Interception interception;
    interception.descriptor = node();
    interception.closeFile = [&atClosing] { atClosing = g_fd.load(); };
    intercept(interception);
    EXPECT_TRUE(GetParam().send("hello"));
    stopChannel();
    EXPECT_EQ(atClosing, -1) << "the number is withdrawn before it can be reused";
    interceptNothing();
}

TEST(ClosingByAnObject, WithdrawsTheNumberFirst) {
    std::atomic<int> atClosing = -2;
    {
        const CHIDDevice object;
        const int hostsOwn = ::dup(STDERR_FILENO);
        g_fd = hostsOwn;
        Interception interception;
        interception.descriptor = hostsOwn;
        interception.closeFile = [&atClosing] { atClosing = g_fd.load(); };
        intercept(interception);
    }
    EXPECT_EQ(atClosing, -1);
    interceptNothing();
}

INSTANTIATE_TEST_SUITE_P(Kind, SenderAndClosing, testing::ValuesIn(kSenders),
                         [](const auto& info) { return info.param.name; });

} // namespace
