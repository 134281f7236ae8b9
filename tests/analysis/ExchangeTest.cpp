#include "TransactionFixture.h"

#include <QDateTime>
#include <QTextCodec>
#include <algorithm>
#include <limits>
#include <thread>

// The steps that all transactions share, tried once with GetInfo, which is waited for once. What each
// transaction says for itself is in transactions/.

namespace {

using pdalink::test::countLogLines;
using pdalink::test::waitUntil;
using pdasim::Fault;
using testing::AllOf;
using testing::ElementsAre;
using testing::Ge;
using testing::Le;
using testing::SizeIs;

using ExchangeMessage = TransactionTest;

TEST_F(ExchangeMessage, CarriesTheTimeAtWhichItWasMade) {
    const auto now = [] { return QDateTime::currentDateTime().toString("yyyyMMddhhmmss").toStdString(); };
    const std::string before = now();
    getInfo();
    const std::string after = now();
    const std::string message = newMessage();
    EXPECT_THAT(message, SizeIs(6 + 4 + 6 + 24 + 8 + 2 + 37 + 25));
    EXPECT_THAT(message.substr(61, 14), AllOf(Ge(before), Le(after)));
}

TEST_F(ExchangeMessage, CarriesANumberOfAtLeastFourDigitsThatIsNeverCut) {
    struct Number {
        int before; ///< the last number used
        const char* text;
    };
    constexpr int largest = std::numeric_limits<int>::max();
    for (const Number& number : {Number{-1, "0000"}, Number{998, "0999"}, Number{9998, "9999"},
                                 Number{9999, "10000"}, Number{123455, "123456"}, Number{-2, "-001"},
                                 Number{-12346, "-12345"}, Number{largest - 1, "2147483647"},
                                 Number{largest, "-2147483648"}, Number{-largest - 1, "-2147483647"}}) {
        m_SeqNo = number.before;
        EXPECT_EQ(getInfo(), usualInformation());
        EXPECT_EQ(newMaskedMessage(), maskedMessage("8001", number.text, ""));
        EXPECT_EQ(m_SeqNo, std::stoi(number.text));
    }
    terminal().takeViolations(); // they do not follow each other
}

TEST_F(ExchangeMessage, OfAnyLengthIsLoggedWholeAndItsLengthFieldGrows) {
    const std::string number(1000000, '1');
    char factory[] = "";
    EXPECT_EQ(analyser().Init(HostText(number), factory, nullptr, nullptr, nullptr), -1);
    const std::string log = pdalink::test::readFile(pdalink::test::logPath() + ".2") +
                            pdalink::test::readFile(pdalink::test::logPath() + ".1") +
                            pdalink::test::readLogText();
    EXPECT_NE(log.find("600001 SendData pre: 10001588002QEV   "), std::string::npos);
    EXPECT_NE(log.find("<Ex_PdaSn>" + number + "</Ex_PdaSn><Ex_Factory></Ex_Factory>\n"), std::string::npos);
    EXPECT_NE(log.find("need to reopen device errno:22 info:Invalid argument\n"), std::string::npos);
}

TEST_F(ExchangeMessage, IsUtf8InBothDirectionsWhateverTheLocalEncoding) {
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("ISO-8859-1"));
    const std::vector<std::string> outputs{"终端", "é", "", "000000"};
    answerWith("8001", informationReply(outputs));
    EXPECT_EQ(getInfo(), (Outcome{0, outputs, 0}));
    newMessage();
    analyser().Init(HostText("é"), nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(newBody(), "<Ex_PdaSn>é</Ex_PdaSn><Ex_Factory></Ex_Factory>");
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
}

/// What a call makes of the terminal's reply.
using ExchangeReply = TransactionTest;

struct Received {
    const char* name;
    std::string text;
    std::vector<std::string> outputs;
};

TEST_F(ExchangeReply, GivesItsFieldsWhateverStandsAroundThem) {
    const std::string tags = tag("Ex_SeqNo", "9999") + tag("Ex_RetCode", "000000");
    const std::vector<std::string> codeOnly{"", "", "", "000000"};
    std::string manyBytes;
    for (int i = 0; i < 250; ++i) {
        manyBytes += "终端";
    }
    const std::vector<std::string> ofManyBytes{manyBytes, "é\xF0\x9F\x93\xA0", manyBytes, "000000"};
    const std::vector<std::string> first{"one", "two", "three", "000000"};
    const std::string second = informationReply({"four", "five", "six", "000001"});
    for (const Received& each : {
             Received{"ten characters", "0000108001", {"", "", "", ""}},
             Received{"a length of nothing", "0000008001" + tags, codeOnly},
             Received{"a length of too much", "9999998001" + tags, codeOnly},
             Received{"no length, no header", "xxxxxx8001nothing as it should be" + tags, codeOnly},
             Received{"six characters of many bytes for a length", "终端终端终é8001" + tags, codeOnly},
             Received{"blanks for a length", "      8001QEV   " + tags, codeOnly},
             Received{"another reply behind it", informationReply(first) + second, first},
             Received{"a reply of another type behind it",
                      informationReply(first) + reply("8002", tag("Ex_EIMI", "four")), first},
             Received{"a closing tag first",
                      message("8001", "</Ex_EIMI>" + tag("Ex_EIMI", "no") + tag("Ex_BleVer", "yes")),
                      {"", "yes", "", ""}},
             Received{"its last field behind many bytes", informationReply(ofManyBytes), ofManyBytes},
         }) {
        SCOPED_TRACE(each.name);
        answerWith("8001", each.text);
        EXPECT_EQ(getInfo(), (Outcome{0, each.outputs, 0}));
    }
}

TEST_F(ExchangeReply, WithoutTheRightTypeIsDroppedWithAllThatIsBehindIt) {
    struct Wrong {
        std::string text;
        const char* logged; ///< its type and that one's length
    };
    for (const Wrong& wrong :
         {Wrong{"8", " len:0"}, Wrong{"000006", " len:0"}, Wrong{"0000078", "8 len:1"},
          Wrong{"00000880", "80 len:2"}, Wrong{"000009800", "800 len:3"},
          Wrong{reply("8003", "") + informationReply({"a", "b", "c", "d"}), "8003 len:4"},
          Wrong{reply("8003", tag("Ex_EIMI", std::string(150000, 'x'))), "8003 len:4"}}) {
        newLogTexts();
        answerWhole("8001", wrong.text);
        EXPECT_EQ(getInfo(), noInformation());
        EXPECT_THAT(newLogTexts(1), ElementsAre("[GetInfo] begin", std::string("Xml1 Type:") + wrong.logged,
                                                "Read XML:" + wrong.text + " ---Wrong Command --Delete"));
    }
}

TEST_F(ExchangeReply, ThatNobodyWaitsForIsNotTakenForTheNextOne) {
    const std::string stale = informationReply({"stale", "stale", "stale", "stale"});
    sendUninvited(stale);
    EXPECT_EQ(getInfo(), usualInformation());
    terminal().addFault("8001", Fault().replyType("8003"));
    EXPECT_EQ(getInfo(), noInformation());
    sendUninvited(stale);
    EXPECT_EQ(getInfo(), usualInformation());
}

TEST_F(ExchangeReply, OfAnyLengthIsTakenAndLoggedWhole) {
    for (const std::size_t size : {4999U, 5000U, 20480U, 900000U}) {
        const Outcome expected{0, {"before", std::string(size, 'x'), std::string(50000, 'y'), "000000"}, 0};
        const std::string text = informationReply(expected.outputs);
        answerWhole("8001", text);
        EXPECT_TRUE(getInfo() == expected) << size; // too long to be printed
        // Such lines make the log rotate.
        const std::string log =
            pdalink::test::readFile(pdalink::test::logPath() + ".1") + pdalink::test::readLogText();
        EXPECT_NE(log.find("HID Read XML: " + text + "\n"), std::string::npos) << size;
    }
}

/// The same in the usual reports.
class ExchangeReplyInReports : public TransactionTest {
protected:
    ExchangeReplyInReports() : TransactionTest(64) {}
};

TEST_F(ExchangeReplyInReports, IsTakenWholeWhereverItsCharactersAreCut) {
    std::string text;
    for (int i = 0; i < 100; ++i) {
        text += "a终é\xF0\x9F\x93\xA0"; // ten bytes: cut by the ends of the reports at every place
    }
    for (const std::string& sn : {text, std::string(20000, 'x')}) {
        const Outcome expected{0, {sn, "B", "P", "000000"}, 0};
        answerWhole("8001", informationReply(expected.outputs));
        EXPECT_EQ(getInfo(), expected);
    }
}

/// How long a call waits, and for what.
using ExchangeWait = TransactionTest;

TEST_F(ExchangeWait, GivesTheRestOfAReplyTimeHoweverLateItBegins) {
    for (const Milliseconds delay : {Milliseconds(0), Milliseconds(2000)}) {
        terminal().addFault("8001", Fault().delay(delay));
        const Milliseconds time = timeOf([this] { EXPECT_EQ(getInfo(), usualInformation()); });
        EXPECT_GE(time, delay + Milliseconds(100));
        EXPECT_LT(time, kSilentWait);
    }
}

TEST_F(ExchangeWait, TakesOnlyThePartOfAReplyThatComesInTime) {
    terminal().addFault("8001", Fault().split(2, Milliseconds(3000)));
    const Outcome outcome = getInfo();
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.outputs.back(), "");
    // The rest comes while nobody waits, and goes with the next send.
    ASSERT_TRUE(waitUntil([] { return buffer().endsWith("</Ex_RetCode>"); }));
    EXPECT_EQ(getInfo(), usualInformation());
}

TEST_F(ExchangeWait, LetsAnEventMakeACallItself) {
    Outcome inner{};
    terminal().addFault("8001", Fault().silence());
    duringTheNextWait([this, &inner] { inner = getInfo(); });
    EXPECT_EQ(getInfo(), noInformation());
    EXPECT_EQ(inner, usualInformation());
}

TEST_F(ExchangeWait, IsWarnedOfWhenAnEarlierMessageCutsItShort) {
    const std::string cutShort = "an earlier message was not taken: the wait for the reply is cut short";
    g_isBufferCome = true;
    getInfo();
    const std::string sent = newMessage();
    std::vector<std::string> lines = newLines();
    lines.resize(4);
    EXPECT_THAT(lines, ElementsAre("1 [GetInfo] begin", "4 600002 SendData pre: " + sent, "3 " + cutShort,
                                   "4 Write XML: " + sent + " sendLen:112"));
    g_isBufferCome = true;
    analyser().SyncLoginResult(HostText("1"), HostText("000000")); // it is not answered
    EXPECT_EQ(countLogLines(cutShort), 1);
    g_isBufferCome = false;
}

/// Replies that are waited for twice.
class SecondWait : public TransactionTest {
protected:
    /// Initialises a terminal that replies only after this and the end of the first wait.
    void expectReplyAfter(const std::function<void()>& firstWait) {
        terminal().addFault("8002", Fault().silence());
        const int before = silentWaits();
        std::thread terminalLater([&] {
            EXPECT_TRUE(terminal().waitForMessages(1, kSilentWait));
            firstWait();
            EXPECT_TRUE(waitUntil([&] { return silentWaits() == before + 1; }, 10 * kSilentWait));
            terminal().sendText(reply("8002", tag("Ex_EIMI", "late")));
        });
        OutputBuffer sn;
        EXPECT_EQ(analyser().Init(HostText("1"), HostText("2"), sn.data(), nullptr, nullptr), 0);
        terminalLater.join();
        EXPECT_EQ(sn.written(), "late");
        EXPECT_EQ(m_PerformTasksYN, 0);
    }
};

TEST_F(SecondWait, TakesAReplyAfterASilentFirst) {
    expectReplyAfter([] {});
}

TEST_F(SecondWait, TakesAReplyAfterAReportWithoutText) {
    expectReplyAfter([this] { terminal().sendReport(std::string(64, '\0')); });
}

/// Calls that have to open the channel.
class ExchangeOnAClosedChannel : public TransactionTest {
protected:
    void SetUp() override { newLines(); }

    void expectNotSentAfterTheSecondOfOpening() {
        const Milliseconds time = timeOf([this] { EXPECT_EQ(getInfo(), informationNotSent()); });
        EXPECT_GE(time, kOpeningWait);
        EXPECT_LT(time, kOpeningWait + kSilentWait);
        EXPECT_FALSE(g_hidRun);
        EXPECT_TRUE(extraThreadsBecome(0));
    }
};

TEST_F(ExchangeOnAClosedChannel, OpenItOnceAndGiveItASecond) {
    const std::string request = R"({"transCode":"600002"})";
    const std::string text = informationReply({"a", "b", "c", "d"});
    answerWith("8001", text);
    const JsonAnswer answer = ask(request);
    const std::string sent = newMessage();
    EXPECT_THAT(
        newLines(),
        ElementsAre("1 inJson4:" + request + " inLen:" + std::to_string(request.size()), "1 [GetInfo] begin",
                    "4  VID/PID: 1209 0001\n", "4 Simulated terminals", "4 openHidDevice port: /dev/hidraw0",
                    "4 port open success", "4 600002 SendData pre: " + sent,
                    "4 Write XML: " + sent + " sendLen:112", "4 HID Read XML: " + text,
                    "1 Xml1 Type:8001 len:4",
                    "1 outJson:" + answer.text + " outLen:" + std::to_string(answer.text.size()) + " ret:0"));
    Milliseconds shortest = Milliseconds::max();
    for (int i = 0; i < 3; ++i) { // a busy machine prolongs a call, but hardly each of them
        stopChannel();
        shortest = std::min(shortest, timeOf([this] { EXPECT_EQ(getInfo(), usualInformation()); }));
        EXPECT_EQ(getInfo(), usualInformation());
    }
    EXPECT_GE(shortest, kOpeningWait + kPromptWait);
    EXPECT_LT(shortest, 2 * kOpeningWait);
    EXPECT_EQ(countLogLines("openHidDevice port: /dev/hidraw0"), 4);
    EXPECT_EQ(terminal().openDescriptors(), 1);
    EXPECT_TRUE(extraThreadsBecome(1));
}

TEST_F(ExchangeOnAClosedChannel, FailEveryTimeUntilThereIsATerminalThatCanBeOpened) {
    terminal().unplug();
    expectNotSentAfterTheSecondOfOpening();
    std::vector<std::string> lines = newLines();
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[1], "4 openHidDevice port: ");
    EXPECT_EQ(lines[2].substr(0, 33), "4 600002 SendData pre: 0001128001");
    EXPECT_EQ(lines[3], "4 hid device is not open");
    terminal().replug();
    terminal().refuseOpening(true);
    expectNotSentAfterTheSecondOfOpening();
    lines = newLines();
    ASSERT_EQ(lines.size(), 7U);
    EXPECT_EQ(lines[4], "4 port open fail");
    EXPECT_EQ(lines[6], "4 hid device is not open");
    terminal().refuseOpening(false);
    EXPECT_EQ(getInfo(), usualInformation());
    EXPECT_EQ(m_SeqNo, 3) << "a message that was not sent has used its number";
}

/// Terminals that go.
using ExchangeWithAVanishingDevice = TransactionTest;

TEST_F(ExchangeWithAVanishingDevice, RecoversWithTheCallAfterTheFailedWriteAndLeavesNothingOver) {
    int filesAfterTheFirst = 0;
    for (int i = 0; i < 4; ++i) {
        terminal().unplug();
        terminal().replug();
        EXPECT_EQ(getInfo(), informationNotSent());
        EXPECT_EQ(getInfo(), usualInformation());
        EXPECT_EQ(g_strSerialPort.toStdString(), terminal().nodePath());
        filesAfterTheFirst = i == 0 ? descriptors() : filesAfterTheFirst;
    }
    EXPECT_EQ(terminal().openDescriptors(), 1);
    EXPECT_TRUE(extraThreadsBecome(1));
    EXPECT_TRUE(descriptorsBecome(filesAfterTheFirst));
}

TEST_F(ExchangeWithAVanishingDevice, IsToldByTheWriteWhenItGoesDuringTheWait) {
    terminal().addFault("8001", Fault().unplugBeforeReply());
    EXPECT_EQ(getInfo(), noInformation());
    EXPECT_EQ(getInfo(), informationNotSent()); // now the write tells
    EXPECT_EQ(getInfo(), informationNotSent()); // there is nothing to open
    EXPECT_EQ(terminal().openDescriptors(), 0);
    terminal().replug();
    terminal().addFault("8001", Fault().unplugAfterReply());
    EXPECT_EQ(getInfo(), usualInformation());
}

} // namespace
