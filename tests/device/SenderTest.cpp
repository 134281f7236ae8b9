#include "BlockedThread.h"
#include "OutputCapture.h"
#include "SenderKinds.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace {

using pdalink::test::BlockedCall;
using pdalink::test::StandardOutputCapture;
using pdasim::Fault;
using pdasim::SimulatedTerminal;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

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

INSTANTIATE_TEST_SUITE_P(Kind, Sender, testing::ValuesIn(kSenders),
                         [](const auto& info) { return info.param.name; });

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

INSTANTIATE_TEST_SUITE_P(Kind, TextSender, testing::Values(kSenders[0]),
                         [](const auto& info) { return info.param.name; });

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

INSTANTIATE_TEST_SUITE_P(Kind, ByteSender, testing::Values(kSenders[1], kSenders[2]),
                         [](const auto& info) { return info.param.name; });

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

INSTANTIATE_TEST_SUITE_P(Kind, TestSender, testing::Values(kSenders[2]),
                         [](const auto& info) { return info.param.name; });

} // namespace
