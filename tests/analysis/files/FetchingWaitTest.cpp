#include "FileFixture.h"

#include <functional>

namespace {

using pdasim::Fault;
using testing::Contains;
using testing::ElementsAre;

/// How often a fetch asks and how long it waits. Its three silent waits are for the whole of it.
class FileFetchingWait : public FileTest {
protected:
    void stayingSilent(std::size_t times = 1) { terminal().addFault("8016", Fault().silence().times(times)); }
    /// The terminal's packet in place of an answer, once there have been enough waits.
    std::function<void()> sending(int total, int current, const std::string& text) {
        return [this, sent = reply("8016", packet(total, current, text))] { terminal().sendText(sent); };
    }
    void answerWrongly(std::size_t times) {
        terminal().addFault("8016",
                            Fault().rawReply(reply("8015", tag("Ex_RetCode", "000000"))).times(times));
    }

    /// Checks that a fetch ends without a file, after `waits` silent waits.
    void expectNothing(int waits) {
        const int before = silentWaits();
        EXPECT_EQ(fetch(), (Transfer{2, "", ""}));
        EXPECT_EQ(silentWaits() - before, waits);
        EXPECT_EQ(m_PerformTasksYN, 0);
    }
};

TEST_F(FileFetchingWait, OfASilentTerminalAsksThreeTimesAndWaitsThreeTimes) {
    stayingSilent(3);
    const Milliseconds time = timeOf([this] { expectNothing(3); });
    EXPECT_GE(time, 3 * kSilentWait);
    EXPECT_LT(time, 7 * kSilentWait);
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

TEST_F(FileFetchingWait, TakesAReplyInItsSecondAndItsLastThird) {
    for (const int waits : {1, 2}) {
        const int before = silentWaits();
        stayingSilent();
        const ShortSilence silence(terminal(), 0, waits, sending(1, 0, "3132"));
        EXPECT_EQ(fetch(), (Transfer{0, "000000", "3132"}));
        EXPECT_EQ(silentWaits() - before, waits);
        EXPECT_THAT(newPacketNumbers(), ElementsAre(0));
    }
}

TEST_F(FileFetchingWait, IsNotRefilledByAPacketButByTheNextFetch) {
    for (int i = 0; i < 2; ++i) {
        stayingSilent();
        stayingSilent(3);
        const ShortSilence silence(terminal(), 0, 2, sending(2, 0, "3132"));
        const ShortSilence afterThePacket(terminal(), 1);
        expectNothing(3);
        EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 1, 1, 1));
    }
}

TEST_F(FileFetchingWait, OnceSpentLeavesEvenAReplyThatIsThere) {
    stayingSilent(); // all three waits
    offer(1, 0, "3132");
    offer(1, 0, "3132");
    const ShortSilence silence(terminal());
    expectNothing(3);
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 0, 0));
}

TEST_F(FileFetchingWait, IsNotSpentByPromptReplies) {
    for (int i = 0; i < 5; ++i) {
        offer(6, i, "3132");
    }
    stayingSilent();
    const ShortSilence silence(terminal(), 5, 2, sending(6, 5, "3334"));
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "313231323132313231323334"}));
    EXPECT_EQ(silentWaits(), 2);
}

TEST_F(FileFetchingWait, EndsAtOnceWhenTheAttemptsAreUsedUp) {
    offer(packet("1", "0", "3132", "zzzz"), 3);
    stayingSilent();
    {
        const ShortSilence silence(terminal(), 3);
        expectNothing(3);
        EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 0, 0, 0)); // the fourth is beyond them
    }
    offer(packet("1", "0", "3132", "zzzz"));
    stayingSilent(2);
    const ShortSilence silence(terminal(), 1);
    expectNothing(3);
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 0, 0)); // it asks again while there are attempts
}

TEST_F(FileFetchingWait, BeginsTheAttemptsAnewWithEachPacket) {
    answerWrongly(2);
    offer(2, 0, "3132");
    answerWrongly(2);
    offer(2, 0, "3132"); // it was there
    answerWrongly(2);
    offer(2, 1, "3334");
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "31323334"}));
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 0, 0, 1, 1, 1, 1, 1, 1));
}

TEST_F(FileFetchingWait, AsksThreeTimesAfterRepliesOfAnotherType) {
    answerWrongly(3);
    expectNothing(0); // nor is a wait spent on them
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 0, 0));
    EXPECT_THAT(newLines(), Contains("1 Read XML:" + reply("8015", tag("Ex_RetCode", "000000")) +
                                     " ---Wrong Command --Delete"));
    answerWrongly(1);
    answerWith("8016", "0000078"); // no type at all
    offer(1, 0, "3132");
    const TaskFlagWatch watch;
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "3132"}));
    EXPECT_EQ(TaskFlagWatch::seen(), "01") << "it stays up meanwhile";
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 0, 0));
    answerWrongly(3);
    EXPECT_EQ(analyser().ReceiveDataSaveToFile(nullptr, nullptr, nullptr, nullptr, nullptr), 2);
}

} // namespace
