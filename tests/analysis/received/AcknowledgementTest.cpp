#include "ReceivedFixture.h"
#include "tests/interface/FailingAllocation.h"

#include <cerrno>

namespace {

using pdasim::Fault;
using testing::IsEmpty;

/// What a handler's call answers, logs and leaves.
class ReceivedCall : public ReceivedBy {
protected:
    /// The lines of the call in front of what is said about the channel.
    static std::vector<std::string> linesAtBegin() {
        std::vector<std::string> lines;
        if (handler().begin != nullptr) {
            lines.push_back(std::string("1 ") + handler().begin);
        }
        if (handler().logsMessage) {
            lines.emplace_back("1 Read XML:-");
        }
        return lines;
    }
};

TEST_P(ReceivedCall, EmptiesTheReceiveBufferAndLowersTheTaskFlag) {
    sendUninvited(usualMessage());
    m_PerformTasksYN = 1;
    EXPECT_EQ(hand(handler(), usualMessage()), 0);
    EXPECT_EQ(buffer(), "");
    EXPECT_EQ(m_PerformTasksYN, 0);
    EXPECT_THAT(newLogTexts(3), IsEmpty()) << "no reply is waited for that could be cut short";
    EXPECT_EQ(getInfo(), usualInformation()) << "nothing is left that is taken for the next reply";
}

TEST_P(ReceivedCall, IsAnsweredBetweenTransactionsAsTheTerminalExpects) {
    pdasim::Announcement announcement = handler().announcement();
    for (const char* name : handler().tags) {
        announcement.with(name, valueOf(name));
    }
    EXPECT_EQ(getInfo(), usualInformation());
    for (std::size_t count = 1; count <= 2; ++count) {
        fillStore(handler(), "");
        const std::string text = terminal().announce(announcement);
        ASSERT_TRUE(becomesBuffered(QString::fromStdString(text)));
        const QByteArray taken = g_HIDDevice.getBuffer().toUtf8();
        EXPECT_EQ(taken.mid(6, 4), handler().type);
        EXPECT_EQ(hand(handler(), taken.toStdString()), 0);
        EXPECT_EQ(stored(handler()), usualStore());
        const std::vector<pdasim::Acknowledgement> acknowledgements = terminal().acknowledgements();
        ASSERT_EQ(acknowledgements.size(), handler().acknowledgementType == nullptr ? 0 : count);
        if (handler().acknowledgementType != nullptr) {
            EXPECT_EQ(acknowledgements.back().type, handler().acknowledgementType);
            EXPECT_EQ(acknowledgements.back().kind, announcement.kind);
            EXPECT_EQ(acknowledgements.back().answers, "000" + std::to_string(count));
        }
        EXPECT_EQ(getInfo(), usualInformation());
    }
}

TEST_P(ReceivedCall, OfNullFailsAndTouchesNothing) {
    const std::string left = "left in the buffer";
    sendUninvited(left);
    fillStore(handler(), "kept");
    pda_HandoverDotState = true;
    pda_HandoverPowerState = true;
    m_PerformTasksYN = 1;
    EXPECT_EQ((analyser().*handler().receive)(nullptr), 1);
    EXPECT_EQ(stored(handler()), std::vector<std::string>(handler().storeSize, "kept"));
    EXPECT_EQ(buffer().toStdString(), left);
    EXPECT_TRUE(pda_HandoverDotState);
    EXPECT_TRUE(pda_HandoverPowerState);
    EXPECT_EQ(m_PerformTasksYN, 0);
    EXPECT_EQ(m_SeqNo, 0);
    EXPECT_THAT(terminal().received(), IsEmpty());
    const std::string begin = handler().begin != nullptr ? std::string("1 ") + handler().begin : "";
    EXPECT_EQ(newLines(), begin.empty() ? std::vector<std::string>{} : std::vector<std::string>{begin});
    stopChannel();
    EXPECT_LT(timeOf([this] { EXPECT_EQ((analyser().*handler().receive)(nullptr), 1); }), kOpeningWait);
    EXPECT_EQ(terminal().openDescriptors(), 0) << "the channel is not opened";
}

TEST_P(ReceivedCall, FailsInternallyWithoutMemoryWithTheTaskFlagDown) {
    int failures = 0;
    std::string text;
    failEachAllocation(
        [&] {
            fillStore(handler(), "");
            m_PerformTasksYN = 0;
            text = usualMessage();
        },
        [&] { return (analyser().*handler().receive)(text.data()); },
        [&](int result) {
            EXPECT_TRUE(result == 0 || result == 1) << result;
            EXPECT_EQ(m_PerformTasksYN, 0);
            failures += result;
        });
    EXPECT_GT(failures, 1);
    EXPECT_EQ(stored(handler()), usualStore()); // the last one was not disturbed
    terminal().takeViolations(); // acknowledgements that were not sent leave gaps in the numbers
}

INSTANTIATE_TEST_SUITE_P(Of, ReceivedCall, testing::ValuesIn(allHandlers()), NameOfHandler());

using ReceivedAcknowledgement = ReceivedCall;

TEST_P(ReceivedAcknowledgement, IsOneMessageWhateverCameAndIsNotWaitedFor) {
    m_SeqNo = 9997;
    EXPECT_LT(timeOf([this] { EXPECT_EQ(hand(handler(), usualMessage()), 0); }), kSilentWait);
    const std::string sent = newMessage();
    EXPECT_EQ(masked(sent), maskedMessage(handler().acknowledgementType, "9998", handler().acknowledgement));
    std::vector<std::string> expected = linesAtBegin();
    expected.push_back("4 Write XML: " + sent + " sendLen:" + std::to_string(sent.size()));
    EXPECT_EQ(newLines(), expected); // no "SendData pre" line, no wait, and nothing of the received message
    EXPECT_EQ(hand(handler(), "garbage"), 0);
    EXPECT_EQ(newMaskedMessage(),
              maskedMessage(handler().acknowledgementType, "9999", handler().acknowledgement));
    EXPECT_EQ(hand(handler(), messageOf(handler(), {{"Ex_SrcSeqNo", "1"},
                                                    {"Ex_PdaSn", "7"},
                                                    {"Ex_RetCode", "000017"},
                                                    {"Ex_ScanState", "0"}})),
              0);
    EXPECT_EQ(newMaskedMessage(),
              maskedMessage(handler().acknowledgementType, "10000", handler().acknowledgement));
    EXPECT_EQ(m_SeqNo, 10000);
}

TEST_P(ReceivedAcknowledgement, OpensTheChannelAfterStoreAndBuffer) {
    stopChannel();
    setBuffer("left in the buffer");
    QString buffered = "never looked at";
    std::vector<std::string> storedMeanwhile;
    char flag = 99;
    duringTheNextWait([&] {
        buffered = buffer();
        storedMeanwhile = stored(handler());
        flag = m_PerformTasksYN;
    });
    const Milliseconds time = timeOf([this] { EXPECT_EQ(hand(handler(), usualMessage()), 0); });
    EXPECT_GE(time, kOpeningWait);
    EXPECT_LT(time, kOpeningWait + kSilentWait);
    EXPECT_TRUE(g_hidRun);
    EXPECT_EQ(newBody(), handler().acknowledgement);
    EXPECT_EQ(buffered, "");
    EXPECT_EQ(storedMeanwhile, usualStore());
    EXPECT_EQ(flag, 1);
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_P(ReceivedAcknowledgement, ThatIsNotWrittenWholeFailsAfterTheStore) {
    terminal().addFault(handler().acknowledgementType, Fault().shortWrite(50));
    EXPECT_EQ(hand(handler(), usualMessage()), -1);
    EXPECT_EQ(stored(handler()), usualStore());
    EXPECT_EQ(m_PerformTasksYN, 1);
    EXPECT_TRUE(g_hidRun);
    sendUninvited(usualMessage());
    fillStore(handler(), "");
    if (handler().lowered != nullptr) {
        *handler().lowered = true;
    }
    terminal().addFault(handler().acknowledgementType, Fault().refuseWrite(EIO));
    EXPECT_EQ(hand(handler(), usualMessage()), -1);
    EXPECT_EQ(stored(handler()), usualStore());
    EXPECT_EQ(buffer(), "");
    EXPECT_TRUE(handler().lowered == nullptr || !*handler().lowered);
    EXPECT_EQ(m_PerformTasksYN, 1);
    EXPECT_EQ(m_SeqNo, 2);
    EXPECT_FALSE(g_hidRun);
    EXPECT_EQ(hand(handler(), usualMessage()), 0) << "the channel is opened anew";
    EXPECT_EQ(masked(terminal().received().back()),
              maskedMessage(handler().acknowledgementType, "0003", handler().acknowledgement));
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_P(ReceivedAcknowledgement, WithoutATerminalFailsAfterTheSecondOfOpening) {
    stopChannel();
    terminal().unplug();
    if (handler().lowered != nullptr) {
        *handler().lowered = true;
    }
    newLines();
    const Milliseconds time = timeOf([this] { EXPECT_EQ(hand(handler(), usualMessage()), -1); });
    EXPECT_GE(time, kOpeningWait);
    EXPECT_LT(time, kOpeningWait + kSilentWait);
    EXPECT_EQ(stored(handler()), usualStore());
    EXPECT_TRUE(handler().lowered == nullptr || !*handler().lowered);
    EXPECT_EQ(m_PerformTasksYN, 1);
    EXPECT_EQ(m_SeqNo, 1);
    std::vector<std::string> expected = linesAtBegin();
    expected.emplace_back("4 openHidDevice port: ");
    expected.emplace_back("4 hid device is not open");
    EXPECT_EQ(newLines(), expected);
}

INSTANTIATE_TEST_SUITE_P(Of, ReceivedAcknowledgement, testing::ValuesIn(acknowledgingHandlers()),
                         NameOfHandler());

/// The only message that is not acknowledged.
class ReceivedLogin : public ReceivedTest {
protected:
    static const Handler& login() { return handlerOf("ReceiveLoginData"); }
    static std::string record() { return messageOf(login(), fieldsOf(login())); }
};

TEST_F(ReceivedLogin, SendsNothingAndNeedsNoTerminal) {
    m_PerformTasksYN = 1;
    EXPECT_EQ(hand(login(), record()), 0);
    EXPECT_EQ(newLines(), (std::vector<std::string>{"1 [ReceiveLoginData] begin", "1 Read XML:-"}));
    EXPECT_EQ(pda_LoginData[6], "value of Ex_MacChkVal");
    EXPECT_EQ(pda_LoginData[7], "") << "the eighth slot stays empty";
    stopChannel();
    terminal().unplug();
    fillStore(login(), "");
    EXPECT_LT(timeOf([this] { EXPECT_EQ(hand(login(), record()), 0); }), kOpeningWait);
    EXPECT_EQ(stored(login()), storeOf(login(), fieldsOf(login())));
    EXPECT_FALSE(g_hidRun);
    EXPECT_EQ(terminal().openDescriptors(), 0);
    EXPECT_THAT(terminal().received(), IsEmpty());
    EXPECT_EQ(m_SeqNo, 0);
    EXPECT_EQ(m_PerformTasksYN, 0);
}

} // namespace
