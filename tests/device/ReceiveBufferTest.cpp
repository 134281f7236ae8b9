#include "BlockedThread.h"
#include "ChannelFixture.h"

#include <functional>

namespace {

using pdalink::test::becomesBlocked;
using pdalink::test::BlockedCall;
using pdalink::test::waitUntil;

constexpr QChar kReplacement = QChar(0xFFFD);

/// An open channel whose buffer fills with what the terminal sends.
class ReceiveBuffer : public ChannelTest {
protected:
    void SetUp() override { openChannel(); }

    void send(const std::string& report) { terminal().sendReport(report); }
    /// Waits until the receiver has seen all reports so far, those too that leave no trace in the buffer.
    void sendAndWait(const std::string& report) {
        g_isBufferCome = false;
        send(report);
        ASSERT_TRUE(waitUntil([] { return g_isBufferCome.load(); }));
    }
    void expectBuffered(const std::vector<std::string>& reports, const QString& expected) {
        g_HIDDevice.clearBuffer();
        for (const std::string& report : reports) {
            send(report);
        }
        EXPECT_TRUE(becomesBuffered(expected)) << buffer().left(100).toStdString();
        EXPECT_TRUE(g_isBufferCome);
    }
};

TEST_F(ReceiveBuffer, GathersReportsUpToTheirFirstNulInTheirOrder) {
    expectBuffered({"<a>", "1", "</a>", "<b>2</b>"}, "<a>1</a><b>2</b>");
    expectBuffered({std::string("first\0lost", 10), std::string("second\0\0lost too", 16)}, "firstsecond");
    for (const std::size_t size : {64U, 4096U}) { // without padding, and as much as one read takes
        const std::string full = std::string(size - 1, 'a') + "b";
        expectBuffered({full, "c"}, QString::fromStdString(full + "c"));
    }
    expectBuffered({std::string(4096, 'a') + "beyond", "c"}, QString(4096, 'a') + "c");
    expectBuffered({"b"}, "b"); // nothing is left of the longer ones
}

TEST_F(ReceiveBuffer, RaisesTheFlagWithEachReport) {
    sendAndWait(std::string(64, '\0'));
    EXPECT_EQ(buffer(), "");
    sendAndWait("one");
    EXPECT_EQ(buffer(), "one");
    sendAndWait("two");
    EXPECT_EQ(buffer(), "onetwo");
    g_HIDDevice.clearBuffer();
    EXPECT_EQ(buffer(), "");
    EXPECT_TRUE(g_isBufferCome) << "clearing leaves the flag alone";
    g_isBufferCome = false;
    g_HIDDevice.clearBuffer();
    EXPECT_FALSE(g_isBufferCome);
}

TEST_F(ReceiveBuffer, IsFilledUnderItsLock) {
    const pid_t receiver = receiverThread();
    g_lock_buffer.Lock();
    send("hello");
    EXPECT_TRUE(becomesBlocked(receiver, &g_lock_buffer, sizeof g_lock_buffer));
    EXPECT_EQ(g_buffer, "");
    EXPECT_FALSE(g_isBufferCome);
    g_lock_buffer.Unlock();
    EXPECT_TRUE(becomesBuffered("hello"));
}

TEST_F(ReceiveBuffer, IsClearedUnderItsLock) {
    sendAndWait("left over");
    g_lock_buffer.Lock();
    BlockedCall clearing([] { g_HIDDevice.clearBuffer(); });
    EXPECT_TRUE(clearing.isBlockedOn(g_lock_buffer));
    EXPECT_EQ(g_buffer, "left over");
    g_lock_buffer.Unlock();
    clearing.join();
    EXPECT_EQ(buffer(), "");
}

TEST_F(ReceiveBuffer, ReplacesBytesThatAreNotUtf8AtOnce) {
    send("a\xFF"
         "b\x80"
         "c\xC3(");
    EXPECT_TRUE(becomesBuffered(QString("a") + kReplacement + "b" + kReplacement + "c" + kReplacement + "("));
    // Nothing that begins so is held back for its rest.
    for (const char byte : {'\x80', '\xBF', '\xC0', '\xC1', '\xF5', '\xF6', '\xF7', '\xF8', '\xFF'}) {
        g_HIDDevice.clearBuffer();
        send({'a', byte});
        EXPECT_TRUE(becomesBuffered(QString("a") + kReplacement)) << static_cast<int>(byte);
    }
}

/// A text that is cut in two by the end of a report.
struct Sequence {
    const char* name;
    std::string bytes;
};

const Sequence kSequences[] = {
    {"two bytes", "é"},
    {"three bytes", "终"},
    {"four bytes", "\xF0\x9F\x93\xA0"},
    {"first of two bytes", "\xC2\x80"},
    {"last of three bytes", "\xEF\xBF\xBD"},
    {"last of four bytes", "\xF4\x8F\xBF\xBF"},
    {"two characters", "终é"},
    {"byte that nothing begins with", "\xFF"
                                      "b"},
    {"continuation alone", "\x80\x80"},
    {"overlong slash", "\xC0\xAF"},
    {"overlong in three bytes", "\xE0\x80\xAF"},
    {"surrogate", "\xED\xA0\x80"},
    {"beyond Unicode", "\xF4\x90\x80\x80"},
    {"far beyond Unicode", "\xF5\x80\x80\x80"},
    {"cut by a letter", "\xE7\xBB"
                        "b"},
    {"cut by another sequence", "\xF0\x9F\xE7\xBB\x88"},
};

using ReceiveBufferCut = ReceiveBuffer;

TEST_F(ReceiveBufferCut, IsPutTogether) {
    for (const Sequence& sequence : kSequences) {
        SCOPED_TRACE(sequence.name);
        const std::string& bytes = sequence.bytes;
        const QString whole = QString::fromStdString("a" + bytes + "z");
        std::vector<std::string> singleBytes;
        for (const char byte : "a" + bytes + "z") {
            singleBytes.push_back({byte});
        }
        expectBuffered(singleBytes, whole);
        for (std::size_t cut = 1; cut < bytes.size(); ++cut) {
            SCOPED_TRACE(cut);
            std::string padded = "a" + bytes.substr(0, cut);
            padded.resize(64, '\0');
            expectBuffered({padded, bytes.substr(cut) + "z"}, whole);
            const std::string full = std::string(64 - cut, 'a') + bytes.substr(0, cut);
            expectBuffered({full, bytes.substr(cut) + "z"},
                           QString::fromStdString(full + bytes.substr(cut) + "z"));
        }
    }
}

/// A sequence of which only the first bytes have come.
class ReceiveBufferUnfinished : public ReceiveBuffer {
protected:
    /// Bytes that would have finished it.
    static std::string restOf(const std::string& begun) {
        const auto first = static_cast<unsigned char>(begun.front());
        const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
        std::string rest;
        rest.resize(length - begun.size(), '\x93');
        return rest;
    }
    static bool isReplacements(const QString& text) {
        return !text.isEmpty() && text == QString(text.size(), kReplacement);
    }

    inline static const std::vector<std::string> kBegun{"\xC3", "\xE7",     "\xE7\xBB",
                                                        "\xF0", "\xF0\x9F", "\xF0\x9F\x93"};
};

TEST_F(ReceiveBufferUnfinished, IsHeldBackUntilItIsTakenAsReplacements) {
    for (const std::string& begun : kBegun) {
        SCOPED_TRACE(testing::PrintToString(begun));
        sendAndWait("a" + begun);
        EXPECT_EQ(buffer(), "a");
        const QString taken = g_HIDDevice.getBuffer();
        EXPECT_EQ(taken.left(1), "a");
        EXPECT_TRUE(isReplacements(taken.mid(1))) << taken.toStdString();
        EXPECT_EQ(buffer(), "");
        sendAndWait(restOf(begun) + "z"); // finishes nothing any more
        const QString later = buffer();
        EXPECT_EQ(later.right(1), "z");
        EXPECT_TRUE(isReplacements(later.chopped(1))) << later.toStdString();
        g_HIDDevice.clearBuffer();
        sendAndWait(begun);
        EXPECT_EQ(buffer(), "");
        EXPECT_TRUE(isReplacements(g_HIDDevice.getBuffer()));
    }
}

TEST_F(ReceiveBufferUnfinished, IsForgottenByClearingAndBySending) {
    char hello[] = "hello";
    const std::function<void()> forgetting[] = {
        [] { g_HIDDevice.clearBuffer(); },
        [] { g_HIDDevice.SendData(QString("hello")); },
        [&] { g_HIDDevice.SendData(hello, 5); },
        [&] { g_HIDDevice.SendData_test(reinterpret_cast<unsigned char*>(hello), 5); },
    };
    for (const std::string& begun : kBegun) {
        for (const auto& forget : forgetting) {
            SCOPED_TRACE(testing::PrintToString(begun));
            sendAndWait("a" + begun);
            forget();
            send("z");
            EXPECT_TRUE(becomesBuffered("z"));
            g_HIDDevice.clearBuffer();
        }
    }
}

} // namespace
