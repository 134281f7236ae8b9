#include "FileFixture.h"

#include <thread>

namespace {

using pdalink::test::waitUntil;
using pdasim::Fault;
using testing::Contains;
using testing::ElementsAre;

/// How often a fetch asks and how long it waits. Its three waits in vain are for the whole of it.
class FileFetchingWait : public FileTest {
protected:
    void stayingSilent(std::size_t times = 1) { terminal().addFault("8016", Fault().silence().times(times)); }
    /// Leaves the next request without an answer until so many waits have been in vain since the beginning.
    std::thread offerAfterWaits(int waits, int total, int current, const std::string& text) {
        stayingSilent();
        return std::thread([=] {
            EXPECT_TRUE(waitUntil([=] { return waitsInVain() == waits; }, std::chrono::minutes(2)));
            terminal().sendText(packet(total, current, text));
        });
    }
    static std::string packet(int total, int current, const std::string& text) {
        return reply("8016", tag("Ex_RetCode", "000000") + tag("Ex_TotalPkt", std::to_string(total)) +
                                 tag("Ex_CurPkt", std::to_string(current)) + tag("Ex_HexVal", text) +
                                 tag("Ex_HexCheck", check(text)));
    }
    void answerWrongly(std::size_t times) {
        terminal().addFault("8016",
                            Fault().rawReply(reply("8015", tag("Ex_RetCode", "000000"))).times(times));
    }

    /// Checks that a fetch ends without a file, after so many waits in vain.
    void expectNothing(int waits) {
        const Milliseconds time = timeOf([this] { EXPECT_EQ(fetch(), (Transfer{2, "", ""})); });
        EXPECT_GE(time, waits * kSilentWait);
        EXPECT_LT(time, (2 * waits + 1) * kSilentWait);
        EXPECT_EQ(waitsInVain(), waits);
        EXPECT_EQ(m_PerformTasksYN, 0);
    }
};

TEST_F(FileFetchingWait, OfASilentTerminalAsksThreeTimesAndWaitsThreeTimes) {
    stayingSilent(3);
    expectNothing(3);
    EXPECT_THAT(newBodies(), ElementsAre(fetchBody(0), fetchBody(0), fetchBody(0)));
    const std::vector<std::string> sent = terminal().received();
    std::vector<std::string> expected{"1 [ReceiveDataSaveToFile] begin"};
    for (const std::string& message : sent) {
        expected.push_back("4 600016 SendData pre: " + message);
        expected.push_back("4 Write XML: " + message + " sendLen:" + std::to_string(message.size()));
        if (&message == &sent.front()) {
            expected.insert(expected.end(), 3, "4 HID Read XML: ");
        }
    }
    EXPECT_EQ(newLines(), expected);
}

TEST_F(FileFetchingWait, TakesAReplyInItsSecondThird) {
    std::thread terminalLater = offerAfterWaits(1, 1, 0, "3132");
    const Milliseconds time = timeOf([this] { EXPECT_EQ(fetch(), (Transfer{0, "000000", "3132"})); });
    terminalLater.join();
    EXPECT_GE(time, kSilentWait + kPromptWait);
    EXPECT_EQ(waitsInVain(), 1);
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0));
}

TEST_F(FileFetchingWait, TakesAReplyInItsLastThird) {
    std::thread terminalLater = offerAfterWaits(2, 1, 0, "3132");
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "3132"}));
    terminalLater.join();
    EXPECT_EQ(waitsInVain(), 2);
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0));
}

TEST_F(FileFetchingWait, IsNotRefilledByAPacket) {
    std::thread terminalLater = offerAfterWaits(2, 2, 0, "3132");
    stayingSilent(3);
    expectNothing(3);
    terminalLater.join();
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 1, 1, 1));
}

TEST_F(FileFetchingWait, OnceSpentLeavesEvenAReplyThatIsThere) {
    stayingSilent(); // all three waits
    offer(1, 0, "3132");
    offer(1, 0, "3132");
    expectNothing(3);
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 0, 0));
}

TEST_F(FileFetchingWait, IsNotSpentByPromptReplies) {
    for (int i = 0; i < 5; ++i) {
        offer(6, i, "3132");
    }
    std::thread terminalLater = offerAfterWaits(2, 6, 5, "3334");
    const Transfer transfer = fetch();
    terminalLater.join();
    EXPECT_EQ(transfer, (Transfer{0, "000000", "313231323132313231323334"}));
    EXPECT_EQ(waitsInVain(), 2);
}

TEST_F(FileFetchingWait, EndsAtOnceWhenTheAttemptsAreUsedUp) {
    offerRepeatedly({"1", "0", "3132", "zzzz"}, 3);
    stayingSilent();
    expectNothing(3);
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 0, 0, 0)); // the fourth is beyond them
}

TEST_F(FileFetchingWait, AsksAgainWhileThereAreAttempts) {
    offer({"1", "0", "3132", "zzzz"});
    stayingSilent(2);
    expectNothing(3);
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 0, 0));
}

TEST_F(FileFetchingWait, BeginsTheAttemptsAnewWithEachPacket) {
    answerWrongly(2);
    offer(2, 0, "3132");
    answerWrongly(2);
    offer(2, 1, "3334");
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "31323334"}));
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 0, 0, 1, 1, 1));
}

TEST_F(FileFetchingWait, BeginsTheAttemptsAnewWithAPacketThatWasThere) {
    answerWrongly(2);
    offer(2, 0, "3132");
    answerWrongly(2);
    offer(2, 0, "3132");
    answerWrongly(2);
    offer(2, 1, "3334");
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "31323334"}));
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 0, 0, 1, 1, 1, 1, 1, 1));
}

TEST_F(FileFetchingWait, DoesNotLookAtTheAttemptsOfAWrongCheck) {
    const SwiftReplies swift;
    offerRepeatedly({"1", "0", "3132", "zzzz"}, 20);
    offer(1, 0, "3132");
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "3132"}));
    EXPECT_EQ(newBodies().size(), 21U);
}

TEST_F(FileFetchingWait, HasAReplyOfAnotherTypeForNone) {
    answerWrongly(3);
    expectNothing(0); // nor is one spent on it
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 0, 0));
    EXPECT_THAT(newLines(), Contains("1 Read XML:" + reply("8015", tag("Ex_RetCode", "000000")) +
                                     " ---Wrong Command --Delete"));
}

TEST_F(FileFetchingWait, HasAReplyOfAnotherTypeForNoneButNoMoreThanThat) {
    answerWrongly(1);
    answerWith("8016", "0000078"); // no type at all
    offer(1, 0, "3132");
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "3132"}));
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 0, 0));
}

TEST_F(FileFetchingWait, IsSharedByNoOtherFetch) {
    stayingSilent(3);
    expectNothing(3);
    std::thread terminalLater = offerAfterWaits(5, 1, 0, "3132");
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "3132"}));
    terminalLater.join();
}

TEST_F(FileFetchingWait, SkipsNullOutputs) {
    answerWrongly(3);
    EXPECT_EQ(analyser().ReceiveDataSaveToFile(nullptr, nullptr, nullptr, nullptr, nullptr), 2);
}

} // namespace
