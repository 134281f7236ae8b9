#include "BlockedThread.h"
#include "CallInterception.h"
#include "ChannelFixture.h"
#include "OutputCapture.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <unistd.h>

namespace {

using pdalink::test::becomesBlocked;
using pdalink::test::BlockedCall;
using pdalink::test::intercept;
using pdalink::test::Interception;
using pdalink::test::interceptNothing;
using pdalink::test::StandardOutputCapture;
using pdalink::test::waitUntil;
using pdasim::Fault;
using pdasim::SimulatedTerminal;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// One of the three senders, and the lines in which it differs from the others.
struct SenderKind {
    const char* name;
    bool (*send)(const std::string& bytes);
    std::string notOpen;
    std::string failed;
    std::string incomplete;
    std::string written;
    bool opensTheChannel;
    bool namesTheCause;
    bool namesTheLength;

    std::string writtenLine(const std::string& text) const {
        return written + text + (namesTheLength ? " sendLen:" + std::to_string(text.size()) : "");
    }
    std::string failedLine(int error) const {
        return failed +
               (namesTheCause ? " errno:" + std::to_string(error) + " info:" + std::strerror(error) : "");
    }
    std::string incompleteLine(const std::string& text, int sent) const {
        return incomplete + text + "  sendLen:" + std::to_string(sent) +
               " bufferLen:" + std::to_string(text.size());
    }
};

std::ostream& operator<<(std::ostream& stream, const SenderKind& kind) {
    return stream << kind.name;
}

bool sendAsText(const std::string& bytes) {
    return g_HIDDevice.SendData(QString::fromStdString(bytes));
}

bool sendAsBytes(const std::string& bytes) {
    std::string copy = bytes;
    return g_HIDDevice.SendData(copy.data(), static_cast<int>(copy.size()));
}

bool sendAsTest(const std::string& bytes) {
    std::string copy = bytes;
    return g_HIDDevice.SendData_test(reinterpret_cast<unsigned char*>(copy.data()),
                                     static_cast<int>(copy.size()));
}

const SenderKind kSenders[] = {
    {"Text", sendAsText, "hid device is not open", "sendLen error. need to reopen device",
     "Write XML error:", "Write XML: ", false, true, true},
    {"Bytes", sendAsBytes, "hid device is not open1", "sendLen error. need to reopen device1",
     "Write XML1 error:", "Write XML1: ", true, true, true},
    {"Test", sendAsTest, "hid device is not open", "sendLen error. need to reopen device",
     "Write XML error:", "Write XML: ", true, false, false},
};

std::string nameOfSender(const testing::TestParamInfo<SenderKind>& info) {
    return info.param.name;
}

class Sender : public ChannelTest, public testing::WithParamInterface<SenderKind> {
protected:
    void SetUp() override {
        openChannel();
        newLogTexts();
    }

    static const SenderKind& kind() { return GetParam(); }
    static bool send(const std::string& bytes) { return kind().send(bytes); }
    void meet(const Fault& fault) { terminal().addFault(SimulatedTerminal::AnyType, fault); }
};

TEST_P(Sender, WritesAllBytesInOneWriteAndLogsThem) {
    // 16384 is as much as the kernel takes at once.
    for (const std::string& text :
         {std::string("hello"), std::string("100% %s %n %%"), std::string(16384, 'x')}) {
        EXPECT_TRUE(send(text));
        EXPECT_EQ(terminal().received().back(), text);
        EXPECT_THAT(newLogTexts(), ElementsAre(kind().writtenLine(text)));
        EXPECT_EQ(pdalink::test::readLog().back().level, 4);
    }
    EXPECT_THAT(terminal().received(), SizeIs(3));
    EXPECT_TRUE(g_hidRun);
}

TEST_P(Sender, DropsWhatWasReceivedBeforeAndLeavesTheFlagAlone) {
    const auto expectDropped = [](bool flag, bool succeeds) {
        g_isBufferCome = flag;
        setBuffer("left over");
        EXPECT_EQ(send("hello"), succeeds);
        EXPECT_EQ(buffer(), "");
        EXPECT_EQ(g_isBufferCome, flag);
    };
    for (const bool flag : {false, true}) {
        expectDropped(flag, true);
        meet(Fault().shortWrite(2));
        expectDropped(flag, false);
    }
    meet(Fault().refuseWrite(EIO));
    expectDropped(true, false);
    stopChannel();
    terminal().unplug();
    expectDropped(true, false);
}

TEST_P(Sender, EmptiesTheBufferUnderItsLock) {
    setBuffer("left over");
    g_lock_buffer.Lock();
    BlockedCall sending([] { send("hello"); });
    EXPECT_TRUE(sending.isBlockedOn(g_lock_buffer));
    EXPECT_EQ(g_buffer, "left over");
    g_lock_buffer.Unlock();
    sending.join();
    EXPECT_EQ(buffer(), "");
}

TEST_P(Sender, LogsARefusedWriteAndStopsTheReceiver) {
    meet(Fault().refuseWrite(EIO));
    EXPECT_FALSE(send("hello"));
    EXPECT_FALSE(g_hidRun);
    EXPECT_THAT(newLogTexts(4), ElementsAre(kind().failedLine(EIO), kind().incompleteLine("hello", -1)));
    EXPECT_TRUE(extraThreadsBecome(0));
    EXPECT_EQ(g_fd, -1);
    EXPECT_EQ(terminal().openDescriptors(), 0);
    openChannel();
    newLogTexts();
    terminal().unplug();
    EXPECT_FALSE(send("hello"));
    EXPECT_FALSE(g_hidRun);
    EXPECT_THAT(newLogTexts(4), ElementsAre(kind().failedLine(ENODEV), kind().incompleteLine("hello", -1)));
}

TEST_P(Sender, LogsAShortWriteAndGoesOn) {
    for (const char* text : {"hello", "100% %s %n %%"}) {
        meet(Fault().shortWrite(3));
        EXPECT_FALSE(send(text));
        EXPECT_THAT(newLogTexts(), ElementsAre(kind().incompleteLine(text, 3)));
    }
    EXPECT_THAT(terminal().received(), SizeIs(2)); // the rest is not sent
    EXPECT_TRUE(g_hidRun);
    EXPECT_TRUE(send("again"));
}

TEST_P(Sender, FailsForMoreOrLessThanTheKernelTakes) {
    for (const std::string& text :
         {std::string(16385, 'x'), std::string(150000, 'x'), std::string("x"), std::string()}) {
        SCOPED_TRACE(text.size());
        EXPECT_FALSE(send(text));
        EXPECT_FALSE(g_hidRun);
        EXPECT_THAT(newLogTexts(4), ElementsAre(kind().failedLine(EINVAL), kind().incompleteLine(text, -1)));
        openChannel();
        newLogTexts();
    }
    EXPECT_THAT(terminal().received(), IsEmpty());
}

TEST_P(Sender, WritesToWhateverDescriptorIsThere) {
    int ends[2] = {};
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    stopChannel();
    g_fd = ends[1];
    EXPECT_TRUE(send("hello"));
    char bytes[16] = {};
    EXPECT_EQ(::read(ends[0], bytes, sizeof bytes), 5);
    EXPECT_STREQ(bytes, "hello");
    g_fd = -1;
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST_P(Sender, OnAClosedChannelWithoutATerminalFails) {
    stopChannel();
    terminal().unplug();
    newLogTexts();
    g_hidRun = true;
    EXPECT_FALSE(send("hello"));
    EXPECT_FALSE(g_hidRun);
    if (kind().opensTheChannel) {
        EXPECT_THAT(newLogTexts(4),
                    ElementsAre(kind().notOpen, "openHidDevice port: ", kind().failedLine(EBADF),
                                kind().incompleteLine("hello", -1)));
    } else {
        EXPECT_THAT(newLogTexts(4), ElementsAre(kind().notOpen));
    }
}

INSTANTIATE_TEST_SUITE_P(Kind, Sender, testing::ValuesIn(kSenders), nameOfSender);

/// The sender of texts.
class TextSender : public Sender {};

TEST_P(TextSender, DoesNotOpenAClosedChannel) {
    stopChannel();
    newLogTexts();
    EXPECT_FALSE(send("hello"));
    EXPECT_THAT(newLogTexts(), ElementsAre("hid device is not open"));
    EXPECT_TRUE(extraThreadsBecome(0));
}

TEST_P(TextSender, SendsUtf8AndAnEmbeddedNul) {
    EXPECT_TRUE(g_HIDDevice.SendData(QString::fromUtf8("编号 é")));
    EXPECT_THAT(newLogTexts(), ElementsAre(kind().writtenLine("编号 é")));
    EXPECT_TRUE(g_HIDDevice.SendData(QString::fromUtf8("ab\0cd", 5)));
    EXPECT_THAT(newLogTexts(), ElementsAre("Write XML: ab sendLen:5"));
    EXPECT_THAT(terminal().received(), ElementsAre("编号 é", std::string("ab\0cd", 5)));
}

INSTANTIATE_TEST_SUITE_P(Kind, TextSender, testing::Values(kSenders[0]), nameOfSender);

/// The two senders of bytes.
class ByteSender : public Sender {
protected:
    static bool sendBytes(char* bytes, int length) {
        return std::string(kind().name) == "Bytes"
                   ? g_HIDDevice.SendData(bytes, length)
                   : g_HIDDevice.SendData_test(reinterpret_cast<unsigned char*>(bytes), length);
    }
    static std::string lengthPart(int length) {
        return kind().namesTheLength ? " sendLen:" + std::to_string(length) : "";
    }
};

TEST_P(ByteSender, SendsAnyBytesAndOnlyAsManyAsAsked) {
    std::string all;
    for (int byte = 255; byte > 0; --byte) {
        all.push_back(static_cast<char>(byte));
    }
    EXPECT_TRUE(send(all));
    newLogTexts();
    char withNul[] = "ab\0cd";
    EXPECT_TRUE(sendBytes(withNul, 5));
    EXPECT_THAT(newLogTexts(), ElementsAre(kind().written + "ab" + lengthPart(5)));
    char bytes[] = "hello";
    EXPECT_TRUE(sendBytes(bytes, 3));
    EXPECT_THAT(newLogTexts(), ElementsAre(kind().written + "hel" + lengthPart(3)));
    EXPECT_THAT(terminal().received(), ElementsAre(all, std::string("ab\0cd", 5), "hel"));
}

TEST_P(ByteSender, WithoutABufferFails) {
    int ends[2] = {};
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    stopChannel();
    newLogTexts();
    g_fd = ends[1]; // a descriptor of the real kernel's
    EXPECT_FALSE(sendBytes(nullptr, 5));
    EXPECT_THAT(newLogTexts(),
                ElementsAre(kind().failedLine(EFAULT), kind().incomplete + "  sendLen:-1 bufferLen:5"));
    g_fd = -1;
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST_P(ByteSender, WithoutALengthFails) {
    char bytes[] = "hello";
    EXPECT_FALSE(sendBytes(nullptr, 0));
    EXPECT_FALSE(sendBytes(bytes, -1));
    EXPECT_FALSE(sendBytes(bytes, -2147483647 - 1));
    EXPECT_THAT(terminal().received(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Kind, ByteSender, testing::Values(kSenders[1], kSenders[2]), nameOfSender);

/// The diagnostic sender prints how many bytes it has written.
class TestSender : public Sender {
protected:
    static std::string printedBy(const std::string& bytes) {
        const StandardOutputCapture output;
        send(bytes);
        return output.text();
    }
};

TEST_P(TestSender, PrintsTheNumberOfBytesWritten) {
    EXPECT_EQ(printedBy("hello"), "5\n");
    EXPECT_EQ(printedBy(std::string(1234, 'x')), "1234\n");
    meet(Fault().shortWrite(3));
    EXPECT_EQ(printedBy("hello"), "3\n");
    meet(Fault().refuseWrite(EIO));
    EXPECT_EQ(printedBy("hello"), "-1\n");
}

INSTANTIATE_TEST_SUITE_P(Kind, TestSender, testing::Values(kSenders[2]), nameOfSender);

/// A closed channel whose node is opened only when the test lets it: after the sender has written.
class SenderOnAClosedChannel : public ChannelTest, public testing::WithParamInterface<SenderKind> {
protected:
    SenderOnAClosedChannel() {
        Interception interception;
        interception.openedPath = terminal().nodePath();
        interception.openFile = [gate = m_gate] { const std::lock_guard wait(*gate); };
        intercept(interception);
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
                         nameOfSender);

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

INSTANTIATE_TEST_SUITE_P(Kind, SenderAndClosing, testing::ValuesIn(kSenders), nameOfSender);

} // namespace
