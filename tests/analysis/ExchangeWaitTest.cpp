#include "ExchangeFixture.h"

#include <QTimer>
#include <algorithm>
#include <thread>

namespace {

using pdalink::test::countLogLines;
using pdalink::test::waitUntil;
using pdasim::Fault;

/// How long calls wait, and for what.
class ExchangeWait : public OpenExchangeTest {
protected:
    static int takings() { return countLogLines("HID Read XML: "); }

    /// Sends the text as soon as a wait has ended with nothing.
    std::thread afterTheFirstWait(const std::string& text) {
        return std::thread([this, text] {
            EXPECT_TRUE(waitUntil([] { return takings() == 1; }, 10 * kSilentWait));
            terminal().sendText(text);
        });
    }
};

TEST_F(ExchangeWait, OfAnAnsweredCallGivesTheRestOfTheReplyTime) {
    const Milliseconds time = timeOf([this] { EXPECT_EQ(getInfo(), usualInformation()); });
    EXPECT_GE(time, kPromptWait);
    EXPECT_LT(time, kSilentWait);
}

TEST_F(ExchangeWait, OfGetInfoEndsAfterOneSilence) {
    terminal().addFault("8001", Fault().silence());
    const Milliseconds time = timeOf([this] { EXPECT_EQ(getInfo(), kNoInformation); });
    EXPECT_GE(time, kSilentWait);
    EXPECT_LT(time, 2 * kSilentWait);
    EXPECT_EQ(takings(), 1);
    EXPECT_EQ(m_PerformTasksYN, 0);
    EXPECT_TRUE(g_hidRun);
}

TEST_F(ExchangeWait, OfInitEndsAfterTwoSilences) {
    terminal().addFault("8002", Fault().silence());
    const Milliseconds time = timeOf([this] { EXPECT_EQ(init(), kNoInitialisation); });
    EXPECT_GE(time, 2 * kSilentWait);
    EXPECT_LT(time, 4 * kSilentWait);
    EXPECT_EQ(takings(), 2);
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(ExchangeWait, OfASilentCallSkipsANullResultCode) {
    terminal().addFault("8001", Fault().silence());
    EXPECT_EQ(analyser().GetInfo(nullptr, nullptr, nullptr, nullptr), 2);
}

TEST_F(ExchangeWait, OfInitTakesAReplyInItsSecondHalf) {
    terminal().addFault("8002", Fault().silence());
    std::thread terminalLater = afterTheFirstWait(initialisationReply({0, "late", "but", "000000"}));
    EXPECT_EQ(init(), (Initialisation{0, "late", "but", "000000"}));
    terminalLater.join();
    EXPECT_EQ(takings(), 1);
}

TEST_F(ExchangeWait, OfInitTakesNothingBehindAReplyOfAnotherType) {
    terminal().addFault("8002", Fault().replyType("8001"));
    const Milliseconds time = timeOf([this] { EXPECT_EQ(init(), kNoInitialisation); });
    EXPECT_LT(time, kSilentWait);
    EXPECT_EQ(takings(), 0); // one, and that was not empty
}

TEST_F(ExchangeWait, OfInitGoesOnAfterAReportWithoutText) {
    terminal().addFault("8002", Fault().silence());
    std::thread terminalLater([this] {
        EXPECT_TRUE(terminal().waitForMessages(1, kSilentWait));
        terminal().sendReport(std::string(64, '\0'));
        EXPECT_TRUE(waitUntil([] { return takings() == 1; }));
        terminal().sendText(initialisationReply({0, "late", "but", "000000"}));
    });
    EXPECT_EQ(init(), (Initialisation{0, "late", "but", "000000"}));
    terminalLater.join();
}

TEST_F(ExchangeWait, OfGetInfoEndsWithAReportWithoutText) {
    terminal().addFault("8001", Fault().silence());
    std::thread terminalLater([this] {
        EXPECT_TRUE(terminal().waitForMessages(1, kSilentWait));
        terminal().sendReport(std::string(64, '\0'));
    });
    EXPECT_LT(timeOf([this] { EXPECT_EQ(getInfo(), kNoInformation); }), kSilentWait);
    terminalLater.join();
}

TEST_F(ExchangeWait, TakesALateReplyWithinItsTime) {
    terminal().addFault("8001", Fault().delay(Milliseconds(2000)));
    const Milliseconds time = timeOf([this] { EXPECT_EQ(getInfo(), usualInformation()); });
    EXPECT_GE(time, Milliseconds(2100));
    EXPECT_LT(time, kSilentWait);
}

TEST_F(ExchangeWait, LeavesAReplyThatComesTooLateToTheNextSend) {
    terminal().addFault("8001", Fault().silence());
    EXPECT_EQ(getInfo(), kNoInformation);
    const std::string late = informationReply({0, "late", "late", "late", "late"});
    terminal().sendText(late);
    ASSERT_TRUE(becomesBuffered(QString::fromStdString(late)));
    EXPECT_EQ(getInfo(), usualInformation());
}

TEST_F(ExchangeWait, IsShortenedByAMessageThatNobodyTook) {
    terminal().sendText("nobody takes this");
    ASSERT_TRUE(waitUntil([] { return g_isBufferCome.load(); }));
    terminal().addFault("8001", Fault().silence());
    const Milliseconds time = timeOf([this] { EXPECT_EQ(getInfo(), kNoInformation); });
    EXPECT_GE(time, kPromptWait);
    EXPECT_LT(time, kSilentWait);
}

TEST_F(ExchangeWait, TakesOnlyThePartOfAReplyThatComesInTime) {
    terminal().addFault("8001", Fault().split(2, Milliseconds(3000)));
    const Information information = getInfo();
    EXPECT_EQ(information.result, 0);
    EXPECT_EQ(information.retCode, "");
    // The rest comes while nobody waits, and goes with the next send.
    ASSERT_TRUE(waitUntil([] { return buffer().endsWith("</Ex_RetCode>"); }));
    EXPECT_EQ(getInfo(), usualInformation());
}

/// The first call of a process, which has to open the channel.
using ExchangeFirstWait = ExchangeTest;

TEST_F(ExchangeFirstWait, GivesTheNodeASecondToOpen) {
    const Milliseconds time = timeOf([this] { EXPECT_EQ(getInfo(), usualInformation()); });
    EXPECT_GE(time, kOpeningWait + kPromptWait);
    EXPECT_LT(time, kOpeningWait + kSilentWait);
}

TEST_F(ExchangeFirstWait, GivesTheNodeNoMoreThanASecond) {
    Milliseconds shortest = Milliseconds::max();
    for (int i = 0; i < 3; ++i) { // a busy machine prolongs a call, but hardly each of them
        shortest = std::min(shortest, timeOf([this] { EXPECT_EQ(getInfo(), usualInformation()); }));
        stopChannel();
    }
    EXPECT_LT(shortest, 2 * kOpeningWait);
}

TEST_F(ExchangeFirstWait, IsNotRepeatedWhileTheChannelStaysOpen) {
    EXPECT_EQ(getInfo(), usualInformation());
    EXPECT_EQ(init(), usualInitialisation());
    EXPECT_EQ(getInfo(), usualInformation());
    EXPECT_EQ(countLogLines("openHidDevice port: /dev/hidraw0"), 1);
    EXPECT_EQ(terminal().openDescriptors(), 1);
    EXPECT_TRUE(extraThreadsBecome(1));
}

TEST_F(ExchangeFirstWait, IsRepeatedWhenAnybodyHasStoppedTheChannel) {
    EXPECT_EQ(getInfo(), usualInformation());
    stopChannel();
    const Milliseconds time = timeOf([this] { EXPECT_EQ(getInfo(), usualInformation()); });
    EXPECT_GE(time, kOpeningWait + kPromptWait);
    EXPECT_EQ(countLogLines("openHidDevice port: /dev/hidraw0"), 2);
    EXPECT_TRUE(extraThreadsBecome(1));
}

/// Waits in a host with an event loop.
class ExchangeWaitAmongEvents : public ExchangeAmongEvents {};

TEST_F(ExchangeWaitAmongEvents, HandlesThemAllTheTime) {
    int ticks = 0;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&ticks] { ++ticks; });
    timer.start(50);
    terminal().addFault("8001", Fault().silence());
    const Milliseconds time = timeOf([this] { EXPECT_EQ(getInfo(), kNoInformation); });
    EXPECT_GE(time, kSilentWait);
    EXPECT_GE(ticks, 20);
}

TEST_F(ExchangeWaitAmongEvents, HandlesThemWhileItOpens) {
    stopChannel();
    bool wasClosed = false;
    QTimer::singleShot(0, [&wasClosed, this] { wasClosed = terminal().received().empty(); });
    EXPECT_EQ(getInfo(), usualInformation());
    EXPECT_TRUE(wasClosed);
}

TEST_F(ExchangeWaitAmongEvents, HasTheTaskFlagUp) {
    m_PerformTasksYN = 0;
    char flag = 99;
    duringTheNextWait([&flag] { flag = m_PerformTasksYN; });
    EXPECT_EQ(getInfo(), usualInformation());
    EXPECT_EQ(flag, 1);
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(ExchangeWaitAmongEvents, HasTheTaskFlagUpWhileItOpens) {
    stopChannel();
    terminal().unplug();
    char flag = 99;
    duringTheNextWait([&flag] { flag = m_PerformTasksYN; });
    EXPECT_EQ(getInfo(), kInformationNotSent);
    EXPECT_EQ(flag, 1);
}

TEST_F(ExchangeWaitAmongEvents, JoinsTheReportsOfAReplyThatComeWithin100Milliseconds) {
    const std::string reply = informationReply(usualInformation());
    const auto sendInside = [this](const std::string& part) {
        terminal().sendText(part);
        EXPECT_TRUE(waitUntil([&part] { return buffer().endsWith(QString::fromStdString(part)); }));
    };
    Information information = kNoInformation;
    // A machine that is too busy to run the second event in time gets another chance.
    for (int attempt = 0; attempt < 5 && !(information == usualInformation()); ++attempt) {
        bool sentAll = false;
        terminal().addFault("8001", Fault().silence());
        duringTheNextWait([&sendInside, &reply, &sentAll] {
            sendInside(reply.substr(0, 80));
            QTimer::singleShot(50, [&sendInside, &reply, &sentAll] {
                sendInside(reply.substr(80));
                sentAll = true;
            });
        });
        information = getInfo();
        while (!sentAll) {
            QCoreApplication::processEvents();
        }
    }
    EXPECT_EQ(information, usualInformation());
}

TEST_F(ExchangeWaitAmongEvents, LetsAnEventMakeACallItself) {
    Initialisation inner{-99, "", "", ""};
    terminal().addFault("8001", Fault().silence());
    duringTheNextWait([this, &inner] { inner = init(); });
    EXPECT_EQ(getInfo(), kNoInformation);
    EXPECT_EQ(inner, usualInitialisation());
    EXPECT_EQ(m_PerformTasksYN, 0);
}

} // namespace
