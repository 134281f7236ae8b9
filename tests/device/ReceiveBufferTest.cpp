#include "ChannelFixture.h"

#include <thread>

namespace {

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
};

TEST_F(ReceiveBuffer, GathersReportsInTheirOrder) {
    for (const char* report : {"<a>", "1", "</a>", "<b>2</b>"}) {
        send(report);
    }
    EXPECT_TRUE(becomesBuffered("<a>1</a><b>2</b>"));
    EXPECT_TRUE(g_isBufferCome);
}

TEST_F(ReceiveBuffer, IgnoresWhatStandsBehindTheFirstNulOfAReport) {
    send(std::string("first\0lost", 10));
    send(std::string("second\0\0lost too", 16));
    EXPECT_TRUE(becomesBuffered("firstsecond"));
}

TEST_F(ReceiveBuffer, TakesAReportWithoutPadding) {
    const std::string full = std::string(63, 'a') + "b";
    send(full);
    send("c");
    EXPECT_TRUE(becomesBuffered(QString::fromStdString(full + "c")));
}

TEST_F(ReceiveBuffer, TakesAReportThatFillsAWholeReadWithoutNul) {
    const std::string full = std::string(4095, 'a') + "b";
    send(full);
    send("c");
    EXPECT_TRUE(becomesBuffered(QString::fromStdString(full + "c")));
}

TEST_F(ReceiveBuffer, ReadsNoMoreThan4096BytesOfAReport) {
    send(std::string(4096, 'a') + "beyond");
    send("c");
    EXPECT_TRUE(becomesBuffered(QString(4096, 'a') + "c"));
}

TEST_F(ReceiveBuffer, DoesNotMixAShortReportWithAnEarlierLongOne) {
    sendAndWait(std::string(4096, 'a'));
    g_HIDDevice.clearBuffer();
    send("b");
    EXPECT_TRUE(becomesBuffered("b"));
}

TEST_F(ReceiveBuffer, RaisesTheFlagForAReportOfNulsOnly) {
    sendAndWait(std::string(64, '\0'));
    EXPECT_EQ(buffer(), "");
}

TEST_F(ReceiveBuffer, RaisesTheFlagWithEachReport) {
    sendAndWait("one");
    EXPECT_EQ(buffer(), "one");
    sendAndWait("two");
    EXPECT_EQ(buffer(), "onetwo");
}

TEST_F(ReceiveBuffer, IsEmptiedByClearing) {
    sendAndWait("left over");
    g_HIDDevice.clearBuffer();
    EXPECT_EQ(buffer(), "");
    EXPECT_TRUE(g_isBufferCome) << "clearing leaves the flag alone";
    g_isBufferCome = false;
    g_HIDDevice.clearBuffer();
    EXPECT_FALSE(g_isBufferCome);
}

TEST_F(ReceiveBuffer, IsFilledUnderItsLock) {
    g_lock_buffer.Lock();
    send("hello");
    std::this_thread::sleep_for(Milliseconds(100));
    EXPECT_EQ(g_buffer, "");
    EXPECT_FALSE(g_isBufferCome);
    g_lock_buffer.Unlock();
    EXPECT_TRUE(becomesBuffered("hello"));
}

TEST_F(ReceiveBuffer, IsClearedUnderItsLock) {
    sendAndWait("left over");
    std::atomic<bool> done = false;
    g_lock_buffer.Lock();
    std::thread clearer([&done] {
        g_HIDDevice.clearBuffer();
        done = true;
    });
    std::this_thread::sleep_for(Milliseconds(100));
    EXPECT_FALSE(done);
    EXPECT_EQ(g_buffer, "left over");
    g_lock_buffer.Unlock();
    clearer.join();
    EXPECT_EQ(buffer(), "");
}

TEST_F(ReceiveBuffer, ReplacesBytesThatAreNoUtf8) {
    send("a\xFF"
         "b\x80"
         "c\xC3(");
    EXPECT_TRUE(becomesBuffered(QString("a") + kReplacement + "b" + kReplacement + "c" + kReplacement + "("));
}

/// A text that is cut in two by the end of a report.
struct Sequence {
    const char* name;
    std::string bytes;
};

const Sequence kSequences[] = {
    {"TwoBytes", "é"},
    {"ThreeBytes", "终"},
    {"FourBytes", "\xF0\x9F\x93\xA0"},
    {"FirstOfTwoBytes", "\xC2\x80"},
    {"LastOfThreeBytes", "\xEF\xBF\xBD"},
    {"LastOfFourBytes", "\xF4\x8F\xBF\xBF"},
    {"TwoCharacters", "终é"},
    {"ByteThatNothingBeginsWith", "\xFF"
                                  "b"},
    {"ContinuationAlone", "\x80\x80"},
    {"OverlongSlash", "\xC0\xAF"},
    {"OverlongInThreeBytes", "\xE0\x80\xAF"},
    {"Surrogate", "\xED\xA0\x80"},
    {"BeyondUnicode", "\xF4\x90\x80\x80"},
    {"FarBeyondUnicode", "\xF5\x80\x80\x80"},
    {"CutByALetter", "\xE7\xBB"
                     "b"},
    {"CutByAnotherSequence", "\xF0\x9F\xE7\xBB\x88"},
};

std::ostream& operator<<(std::ostream& stream, const Sequence& sequence) {
    return stream << sequence.name;
}

class ReceiveBufferCut : public ReceiveBuffer, public testing::WithParamInterface<Sequence> {
protected:
    static std::vector<std::size_t> cuts() {
        std::vector<std::size_t> places;
        for (std::size_t place = 1; place < GetParam().bytes.size(); ++place) {
            places.push_back(place);
        }
        return places;
    }
};

TEST_P(ReceiveBufferCut, IsPutTogetherAcrossPaddedReports) {
    const std::string& bytes = GetParam().bytes;
    const QString whole = QString::fromUtf8(("a" + bytes + "z").c_str());
    for (const std::size_t cut : cuts()) {
        g_HIDDevice.clearBuffer();
        std::string first = "a" + bytes.substr(0, cut);
        first.resize(64, '\0');
        send(first);
        send(bytes.substr(cut) + "z");
        EXPECT_TRUE(becomesBuffered(whole)) << "cut at " << cut << ": " << buffer().toStdString();
    }
}

TEST_P(ReceiveBufferCut, IsPutTogetherAcrossFullReports) {
    const std::string& bytes = GetParam().bytes;
    for (const std::size_t cut : cuts()) {
        g_HIDDevice.clearBuffer();
        const std::string text = std::string(64 - cut, 'a') + bytes + "z";
        terminal().sendText(text); // in reports of 64 bytes
        EXPECT_TRUE(becomesBuffered(QString::fromStdString(text))) << "cut at " << cut;
    }
}

TEST_P(ReceiveBufferCut, IsPutTogetherFromSingleBytes) {
    for (const char byte : "a" + GetParam().bytes + "z") {
        send({byte});
    }
    EXPECT_TRUE(becomesBuffered(QString::fromStdString("a" + GetParam().bytes + "z")));
}

INSTANTIATE_TEST_SUITE_P(Sequence, ReceiveBufferCut, testing::ValuesIn(kSequences),
                         [](const auto& info) { return info.param.name; });

/// A sequence of which only the first bytes have come.
class ReceiveBufferUnfinished : public ReceiveBuffer, public testing::WithParamInterface<std::string> {
protected:
    static std::size_t missing() {
        const auto first = static_cast<unsigned char>(GetParam().front());
        const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
        return length - GetParam().size();
    }
    /// Bytes that would have finished it.
    static std::string rest() { return std::string().append(missing(), '\x93'); }
    static bool isReplacements(const QString& text) {
        return !text.isEmpty() && text == QString(text.size(), kReplacement);
    }
};

TEST_P(ReceiveBufferUnfinished, IsHeldBack) {
    sendAndWait("a" + GetParam());
    EXPECT_EQ(buffer(), "a");
}

TEST_P(ReceiveBufferUnfinished, RaisesTheFlagEvenAlone) {
    sendAndWait(GetParam());
    EXPECT_EQ(buffer(), "");
}

TEST_P(ReceiveBufferUnfinished, ComesOutAsReplacementsWhenTaken) {
    sendAndWait("a" + GetParam());
    const QString taken = g_HIDDevice.getBuffer();
    EXPECT_EQ(taken.left(1), "a");
    EXPECT_TRUE(isReplacements(taken.mid(1))) << taken.toStdString();
    EXPECT_EQ(buffer(), "");
}

TEST_P(ReceiveBufferUnfinished, ComesOutAsReplacementsAlsoAlone) {
    sendAndWait(GetParam());
    EXPECT_TRUE(isReplacements(g_HIDDevice.getBuffer()));
}

TEST_P(ReceiveBufferUnfinished, IsNotFinishedByWhatComesAfterItWasTaken) {
    sendAndWait("a" + GetParam());
    g_HIDDevice.getBuffer();
    sendAndWait(rest() + "z");
    const QString later = buffer();
    EXPECT_EQ(later.right(1), "z");
    EXPECT_TRUE(isReplacements(later.chopped(1))) << later.toStdString();
}

TEST_P(ReceiveBufferUnfinished, IsForgottenByClearing) {
    sendAndWait("a" + GetParam());
    g_HIDDevice.clearBuffer();
    send("z");
    EXPECT_TRUE(becomesBuffered("z"));
}

TEST_P(ReceiveBufferUnfinished, IsForgottenBySendingAText) {
    sendAndWait("a" + GetParam());
    g_HIDDevice.SendData(QString("hello"));
    send("z");
    EXPECT_TRUE(becomesBuffered("z"));
}

TEST_P(ReceiveBufferUnfinished, IsForgottenBySendingBytes) {
    sendAndWait("a" + GetParam());
    char hello[] = "hello";
    g_HIDDevice.SendData(hello, 5);
    send("z");
    EXPECT_TRUE(becomesBuffered("z"));
}

TEST_P(ReceiveBufferUnfinished, IsForgottenBySendingBytesForATest) {
    sendAndWait("a" + GetParam());
    unsigned char hello[] = "hello";
    g_HIDDevice.SendData_test(hello, 5);
    send("z");
    EXPECT_TRUE(becomesBuffered("z"));
}

INSTANTIATE_TEST_SUITE_P(Bytes, ReceiveBufferUnfinished,
                         testing::Values("\xC3", "\xE7", "\xE7\xBB", "\xF0", "\xF0\x9F", "\xF0\x9F\x93"));

} // namespace
