#include "OutputCapture.h"
#include "SenderKinds.h"
#include "util/MutexGuard.h"

#include <cerrno>
#include <fcntl.h>
#include <thread>
#include <unistd.h>

namespace {

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

TEST_P(Sender, WritesAllBytesInOneWrite) {
    const std::string longText(10000, 'x');
    EXPECT_TRUE(send("hello"));
    EXPECT_TRUE(send(longText));
    EXPECT_THAT(terminal().received(), ElementsAre("hello", longText));
}

TEST_P(Sender, LogsWhatItHasWritten) {
    EXPECT_TRUE(send("hello"));
    EXPECT_THAT(newLogTexts(), ElementsAre(kind().writtenLine("hello")));
    EXPECT_THAT(pdalink::test::readLog().back().level, 4);
    EXPECT_TRUE(g_hidRun);
}

TEST_P(Sender, DropsWhatWasReceivedBefore) {
    setBuffer("left over");
    EXPECT_TRUE(send("hello"));
    EXPECT_EQ(buffer(), "");
    setBuffer("left over");
    meet(Fault().shortWrite(2));
    EXPECT_FALSE(send("hello"));
    EXPECT_EQ(buffer(), "");
    setBuffer("left over");
    meet(Fault().refuseWrite(EIO));
    EXPECT_FALSE(send("hello"));
    EXPECT_EQ(buffer(), "");
}

TEST_P(Sender, DropsWhatWasReceivedBeforeAlsoWhenTheChannelIsClosed) {
    stopChannel();
    terminal().unplug();
    setBuffer("left over");
    EXPECT_FALSE(send("hello"));
    EXPECT_EQ(buffer(), "");
}

TEST_P(Sender, LeavesTheReceivedFlagAlone) {
    for (const bool flag : {true, false}) {
        g_isBufferCome = flag;
        setBuffer("left over");
        EXPECT_TRUE(send("hello"));
        EXPECT_EQ(g_isBufferCome, flag);
        meet(Fault().shortWrite(2));
        EXPECT_FALSE(send("hello"));
        EXPECT_EQ(g_isBufferCome, flag);
    }
    g_isBufferCome = true;
    meet(Fault().refuseWrite(EIO));
    EXPECT_FALSE(send("hello"));
    EXPECT_TRUE(g_isBufferCome);
}

TEST_P(Sender, EmptiesTheBufferUnderItsLock) {
    setBuffer("left over");
    std::atomic<bool> done = false;
    g_lock_buffer.Lock();
    std::thread sender([&done] {
        send("hello");
        done = true;
    });
    std::this_thread::sleep_for(Milliseconds(200));
    EXPECT_FALSE(done);
    EXPECT_EQ(g_buffer, "left over");
    g_lock_buffer.Unlock();
    sender.join();
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
}

TEST_P(Sender, LogsThatTheDeviceIsGone) {
    terminal().unplug();
    EXPECT_FALSE(send("hello"));
    EXPECT_FALSE(g_hidRun);
    EXPECT_THAT(newLogTexts(4), ElementsAre(kind().failedLine(ENODEV), kind().incompleteLine("hello", -1)));
}

TEST_P(Sender, LogsAShortWriteAndGoesOn) {
    meet(Fault().shortWrite(3));
    EXPECT_FALSE(send("hello"));
    EXPECT_THAT(newLogTexts(), ElementsAre(kind().incompleteLine("hello", 3)));
    EXPECT_THAT(terminal().received(), SizeIs(1)); // the rest is not sent
    EXPECT_TRUE(g_hidRun);
    EXPECT_TRUE(send("again"));
}

TEST_P(Sender, SendsAsMuchAsTheKernelTakesAtOnce) {
    const std::string largest(16384, 'x');
    EXPECT_TRUE(send(largest));
    EXPECT_THAT(terminal().received(), ElementsAre(largest));
}

TEST_P(Sender, FailsForMoreThanTheKernelTakesAtOnce) {
    const std::string tooLarge(16385, 'x');
    EXPECT_FALSE(send(tooLarge));
    EXPECT_FALSE(g_hidRun);
    EXPECT_THAT(terminal().received(), IsEmpty());
    EXPECT_THAT(newLogTexts(), ElementsAre(kind().failedLine(EINVAL), kind().incompleteLine(tooLarge, -1)));
}

TEST_P(Sender, FailsForTextsOfAnyLength) {
    const std::string tooLarge(150000, 'x');
    EXPECT_FALSE(send(tooLarge));
    EXPECT_THAT(newLogTexts(), ElementsAre(kind().failedLine(EINVAL), kind().incompleteLine(tooLarge, -1)));
}

TEST_P(Sender, FailsForLessThanTheKernelTakes) {
    EXPECT_FALSE(send("x"));
    EXPECT_THAT(newLogTexts(4), ElementsAre(kind().failedLine(EINVAL), kind().incompleteLine("x", -1)));
}

TEST_P(Sender, FailsForNothing) {
    EXPECT_FALSE(send(""));
    EXPECT_THAT(newLogTexts(4), ElementsAre(kind().failedLine(EINVAL), kind().incompleteLine("", -1)));
}

TEST_P(Sender, LogsTheTextAsItIs) {
    EXPECT_TRUE(send("100% %s %n %%"));
    EXPECT_THAT(newLogTexts(), ElementsAre(kind().writtenLine("100% %s %n %%")));
    meet(Fault().shortWrite(3));
    EXPECT_FALSE(send("100% %s %n %%"));
    EXPECT_THAT(newLogTexts(), ElementsAre(kind().incompleteLine("100% %s %n %%", 3)));
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

TEST_P(TextSender, SendsTheLocalEncodingOfTheText) {
    const QString text = QString::fromUtf8("编号 é");
    EXPECT_TRUE(g_HIDDevice.SendData(text));
    const std::string bytes = text.toLocal8Bit().toStdString();
    EXPECT_THAT(terminal().received(), ElementsAre(bytes));
    EXPECT_THAT(newLogTexts(), ElementsAre(kind().writtenLine(bytes)));
}

TEST_P(TextSender, SendsAnEmbeddedNul) {
    EXPECT_TRUE(g_HIDDevice.SendData(QString::fromUtf8("ab\0cd", 5)));
    EXPECT_THAT(terminal().received(), ElementsAre(std::string("ab\0cd", 5)));
    EXPECT_THAT(newLogTexts(), ElementsAre("Write XML: ab sendLen:5"));
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

TEST_P(ByteSender, SendsAnyBytes) {
    std::string bytes;
    for (int byte = 255; byte > 0; --byte) {
        bytes.push_back(static_cast<char>(byte));
    }
    EXPECT_TRUE(send(bytes));
    EXPECT_THAT(terminal().received(), ElementsAre(bytes));
}

TEST_P(ByteSender, SendsAnEmbeddedNul) {
    char bytes[] = "ab\0cd";
    EXPECT_TRUE(sendBytes(bytes, 5));
    EXPECT_THAT(terminal().received(), ElementsAre(std::string("ab\0cd", 5)));
    EXPECT_THAT(newLogTexts(), ElementsAre(kind().written + "ab" + lengthPart(5)));
}

TEST_P(ByteSender, SendsOnlyAsManyBytesAsAsked) {
    char bytes[] = "hello";
    EXPECT_TRUE(sendBytes(bytes, 3));
    EXPECT_THAT(terminal().received(), ElementsAre("hel"));
    EXPECT_THAT(newLogTexts(), ElementsAre(kind().written + "hel" + lengthPart(3)));
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

TEST_P(ByteSender, WithoutABufferAndLengthFails) {
    EXPECT_FALSE(sendBytes(nullptr, 0));
    EXPECT_THAT(terminal().received(), IsEmpty());
}

TEST_P(ByteSender, WithANegativeLengthFails) {
    char bytes[] = "hello";
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
}

TEST_P(TestSender, PrintsTheNumberOfBytesOfAShortWrite) {
    meet(Fault().shortWrite(3));
    EXPECT_EQ(printedBy("hello"), "3\n");
}

TEST_P(TestSender, PrintsAFailure) {
    meet(Fault().refuseWrite(EIO));
    EXPECT_EQ(printedBy("hello"), "-1\n");
}

INSTANTIATE_TEST_SUITE_P(Kind, TestSender, testing::Values(kSenders[2]),
                         [](const auto& info) { return info.param.name; });

} // namespace
