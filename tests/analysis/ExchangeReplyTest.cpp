#include "ExchangeFixture.h"

#include <QTextCodec>

namespace {

using pdalink::test::waitUntil;
using pdasim::Fault;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// What a call makes of the terminal's reply.
using ExchangeReply = OpenExchangeTest;

TEST_F(ExchangeReply, FillsTheOutputsWithoutANul) {
    // The buffers are filled with a character: what was written ends where the value ends.
    EXPECT_EQ(getInfo(), usualInformation());
    EXPECT_EQ(init(), usualInitialisation());
}

TEST_F(ExchangeReply, LeavesAnOutputAloneWhoseTagIsMissing) {
    Information expected = usualInformation();
    expected.sn = "";
    terminal().addFault("8001", Fault().dropTag("Ex_EIMI"));
    EXPECT_EQ(getInfo(), expected);
    expected = usualInformation();
    expected.bleVersion = "";
    terminal().addFault("8001", Fault().dropTag("Ex_BleVer"));
    EXPECT_EQ(getInfo(), expected);
    expected = usualInformation();
    expected.pdaVersion = "";
    terminal().addFault("8001", Fault().dropTag("Ex_PdaVer"));
    EXPECT_EQ(getInfo(), expected);
    expected = usualInformation();
    expected.retCode = "";
    terminal().addFault("8001", Fault().dropTag("Ex_RetCode"));
    EXPECT_EQ(getInfo(), expected);
}

TEST_F(ExchangeReply, LeavesAnOutputAloneWhoseTagIsEmpty) {
    Initialisation expected = usualInitialisation();
    expected.vender = "";
    terminal().addFault("8002", Fault().setTag("Ex_Vender", ""));
    EXPECT_EQ(init(), expected);
}

TEST_F(ExchangeReply, WithoutAnyTagIsAReplyAllTheSame) {
    answerWith("8001", message("8001", ""));
    EXPECT_EQ(getInfo(), (Information{0, "", "", "", ""}));
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(ExchangeReply, OfTenCharactersIsAReply) {
    answerWith("8001", "0000108001");
    EXPECT_EQ(getInfo(), (Information{0, "", "", "", ""}));
    EXPECT_THAT(newLogTexts(1), Contains("Xml1 Type:8001 len:4"));
}

TEST_F(ExchangeReply, SkipsNullOutputs) {
    EXPECT_EQ(analyser().GetInfo(nullptr, nullptr, nullptr, nullptr), 0);
    char number[] = "1";
    EXPECT_EQ(analyser().Init(number, number, nullptr, nullptr, nullptr), 0);
    OutputBuffer pdaVersion;
    EXPECT_EQ(analyser().GetInfo(nullptr, nullptr, pdaVersion.data(), nullptr), 0);
    EXPECT_EQ(pdaVersion.written(), usualInformation().pdaVersion);
}

TEST_F(ExchangeReply, OfAnotherTypeSkipsANullResultCodeToo) {
    terminal().addFault("8001", Fault().replyType("8003"));
    EXPECT_EQ(analyser().GetInfo(nullptr, nullptr, nullptr, nullptr), 2);
}

TEST_F(ExchangeReply, PassesTheTerminalsOwnFailureOn) {
    pdasim::Identity identity;
    identity.returnCode = "000017";
    terminal().setIdentity(identity);
    Information expected = usualInformation();
    expected.retCode = "000017";
    EXPECT_EQ(getInfo(), expected);
}

TEST_F(ExchangeReply, OfAnotherTypeIsNoReply) {
    terminal().addFault("8001", Fault().replyType("8002"));
    EXPECT_EQ(getInfo(), kNoInformation);
    EXPECT_EQ(m_PerformTasksYN, 0);
    terminal().addFault("8002", Fault().replyType("8001"));
    EXPECT_EQ(init(), kNoInitialisation);
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(ExchangeReply, OfAnotherTypeIsDroppedWithTheRightOneBehindIt) {
    const std::string wrong = message("8003", tag("Ex_RetCode", "000000"));
    const std::string right = informationReply(usualInformation());
    answerWith("8001", wrong + right);
    EXPECT_EQ(getInfo(), kNoInformation);
    EXPECT_THAT(newLogTexts(1), Contains("Read XML:" + wrong + right + " ---Wrong Command --Delete"));
}

TEST_F(ExchangeReply, ThatComesAfterOneOfAnotherTypeIsNotTakenForTheNextOne) {
    terminal().addFault("8001", Fault().replyType("8003"));
    EXPECT_EQ(getInfo(), kNoInformation);
    const std::string late = informationReply({0, "late", "late", "late", "late"});
    terminal().sendText(late);
    ASSERT_TRUE(becomesBuffered(QString::fromStdString(late)));
    EXPECT_EQ(getInfo(), usualInformation());
}

TEST_F(ExchangeReply, ThatNobodyWaitedForIsNotTakenForTheNextOne) {
    const std::string stale = informationReply({0, "stale", "stale", "stale", "stale"});
    terminal().sendText(stale);
    ASSERT_TRUE(becomesBuffered(QString::fromStdString(stale)));
    EXPECT_EQ(getInfo(), usualInformation());
}

TEST_F(ExchangeReply, IsCheckedForNothingButItsType) {
    const std::string tags = tag("Ex_SeqNo", "9999") + tag("Ex_RetCode", "000000");
    for (const char* header :
         {"0000008001", "9999998001", "xxxxxx8001nothing as it should be", "      8001QEV   "}) {
        answerWith("8001", header + tags);
        EXPECT_EQ(getInfo(), (Information{0, "", "", "", "000000"})) << header;
    }
}

TEST_F(ExchangeReply, GivesTheFirstOfSeveralFieldsOfOneName) {
    answerWith("8002", message("8002", tag("Ex_EIMI", "first") + tag("Ex_EIMI", "second") +
                                           tag("Ex_RetCode", "000000") + tag("Ex_RetCode", "000001")));
    EXPECT_EQ(init(), (Initialisation{0, "first", "", "000000"}));
}

TEST_F(ExchangeReply, WithAnotherMessageBehindItGivesItsOwnFields) {
    answerWith("8001", informationReply({0, "one", "two", "three", "000000"}) +
                           informationReply({0, "four", "five", "six", "000001"}));
    EXPECT_EQ(getInfo(), (Information{0, "one", "two", "three", "000000"}));
    answerWith("8001", informationReply({0, "one", "two", "three", "000000"}) +
                           initialisationReply({0, "four", "five", "000001"}));
    EXPECT_EQ(getInfo(), (Information{0, "one", "two", "three", "000000"}));
}

TEST_F(ExchangeReply, WhoseClosingTagComesFirstHasNoSuchField) {
    answerWith("8002", message("8002", "</Ex_EIMI><Ex_EIMI>no</Ex_EIMI>" + tag("Ex_RetCode", "000000")));
    EXPECT_EQ(init(), (Initialisation{0, "", "", "000000"}));
}

TEST_F(ExchangeReply, GivesMarkupAndEntitiesAsTheyAre) {
    answerWith("8002", initialisationReply({0, "<b>&lt;&amp;</b>", "a=\"1\" %s", "000000"}));
    EXPECT_EQ(init(), (Initialisation{0, "<b>&lt;&amp;</b>", "a=\"1\" %s", "000000"}));
}

/// A reply comes in one report, which no busy machine delays.
class ExchangeReplyInOneReport : public OpenExchangeTest {
protected:
    ExchangeReplyInOneReport() : OpenExchangeTest(options()) {}

private:
    static pdasim::SimulatedTerminal::Options options() {
        pdasim::SimulatedTerminal::Options options;
        options.reportSize = 4096;
        return options;
    }
};

TEST_F(ExchangeReplyInOneReport, KeepsItsLastFieldBehindTextOfManyBytes) {
    std::string terminalName;
    for (int i = 0; i < 250; ++i) {
        terminalName += "终端";
    }
    const Information expected{0, terminalName, "é\xF0\x9F\x93\xA0", terminalName, "000000"};
    answerWith("8001", informationReply(expected));
    EXPECT_EQ(getInfo(), expected);
}

TEST_F(ExchangeReply, IsReadAsUtf8WhateverTheLocalEncoding) {
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("ISO-8859-1"));
    const Initialisation expected{0, "终端", "é", "000000"};
    answerWith("8002", initialisationReply(expected));
    EXPECT_EQ(init(), expected);
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
}

struct ShortReply {
    const char* text;
    const char* logged;
};

class ExchangeShortReply : public OpenExchangeTest, public testing::WithParamInterface<ShortReply> {};

TEST_P(ExchangeShortReply, IsNoReply) {
    const std::string text = GetParam().text;
    answerWith("8001", text);
    EXPECT_EQ(getInfo(), kNoInformation);
    EXPECT_THAT(newLogTexts(1), ElementsAre("[GetInfo] begin", std::string("Xml1 Type:") + GetParam().logged,
                                            "Read XML:" + text + " ---Wrong Command --Delete"));
    EXPECT_EQ(m_PerformTasksYN, 0);
}

INSTANTIATE_TEST_SUITE_P(Texts, ExchangeShortReply,
                         testing::Values(ShortReply{"8", " len:0"}, ShortReply{"000006", " len:0"},
                                         ShortReply{"0000078", "8 len:1"}, ShortReply{"00000880", "80 len:2"},
                                         ShortReply{"000009800", "800 len:3"}));

/// Replies of any length, in long reports and given all the time they need.
class ExchangeLongReply : public ExchangeAmongEvents {
protected:
    ExchangeLongReply() : ExchangeAmongEvents(longReports()) {}

    static pdasim::SimulatedTerminal::Options longReports() {
        pdasim::SimulatedTerminal::Options options;
        options.reportSize = 4096;
        return options;
    }
    /// Whether the text is in the log or its last copy: such lines make it rotate.
    static bool isLogged(const std::string& text) {
        const std::string path = pdalink::test::logPath();
        const std::string log = pdalink::test::readFile(path + ".1") + pdalink::test::readFile(path);
        return log.find(text) != std::string::npos;
    }
    /// A reply of exactly this many bytes, most of them in front of its fields.
    static std::string replyOf(std::size_t size, const Information& information) {
        const std::string plain = informationReply(information);
        return plain.substr(0, 50) + tag("Other", std::string(size - plain.size() - 15, 'x')) +
               plain.substr(50);
    }
};

TEST_F(ExchangeLongReply, IsTakenWhole) {
    for (const std::size_t size : {20479U, 20480U, 20481U, 102400U, 1000000U}) {
        const std::string reply = replyOf(size, usualInformation());
        ASSERT_EQ(reply.size(), size);
        answerWhole("8001", reply);
        EXPECT_EQ(getInfo(), usualInformation()) << size;
        EXPECT_TRUE(isLogged("HID Read XML: " + reply + "\n")) << size;
    }
}

TEST_F(ExchangeLongReply, GivesFieldsOfAnyLength) {
    for (const std::size_t size : {4999U, 5000U, 20480U, 100000U, 900000U}) {
        const Information expected{0, "before", std::string(size, 'x'), std::string(50000, 'y'), "000000"};
        answerWhole("8001", informationReply(expected));
        EXPECT_TRUE(getInfo() == expected) << size; // too long to be printed
    }
}

TEST_F(ExchangeLongReply, OfAnotherTypeIsLoggedWhole) {
    const std::string reply = message("8003", tag("Ex_EIMI", std::string(150000, 'x')));
    answerWhole("8001", reply);
    EXPECT_EQ(getInfo(), kNoInformation);
    EXPECT_THAT(newLogTexts(1), Contains("Read XML:" + reply + " ---Wrong Command --Delete"));
}

TEST_F(ExchangeLongReply, IsTakenAfterAFloodThatNobodyWaitedFor) {
    constexpr int limit = 16 * 1024 * 1024;
    terminal().sendText(std::string(limit, 'x'));
    ASSERT_TRUE(waitUntil([] { return bufferedCharacters() == limit; }, std::chrono::seconds(90)));
    for (int i = 0; i < 2; ++i) { // the first one has been logged as well once the second is seen
        g_isBufferCome = false;
        terminal().sendText("dropped");
        ASSERT_TRUE(waitUntil([] { return g_isBufferCome.load(); }));
    }
    EXPECT_THAT(newLogTexts(3), SizeIs(1));
    answerWhole("8001", informationReply(usualInformation()));
    EXPECT_EQ(getInfo(), usualInformation());
}

TEST_F(ExchangeLongReply, IsAnsweredInJsonWhole) {
    const std::string sn(110000, 'x');
    answerWhole("8001", informationReply({0, sn, "B", "P", "000000"}));
    EXPECT_EQ(call(R"({"transCode":"600002"})"),
              R"({"pBleVersion":"B","pPDAVersion":"P","pRetCode":"000000","pSN":")" + sn +
                  R"(","transCode":"600002"})");
}

TEST_F(ExchangeLongReply, OfShortValuesIsAnsweredInJsonWholeWhateverTheirTotal) {
    const std::string value(4999, '\x01'); // six bytes each in JSON
    std::string escaped;
    for (std::size_t i = 0; i < value.size(); ++i) {
        escaped += "\\u0001";
    }
    answerWhole("8001", informationReply({0, value, value, value, value}));
    EXPECT_EQ(call(R"({"transCode":"600002"})"), R"({"pBleVersion":")" + escaped + R"(","pPDAVersion":")" +
                                                     escaped + R"(","pRetCode":")" + escaped +
                                                     R"(","pSN":")" + escaped + R"(","transCode":"600002"})");
    EXPECT_THAT(newLogTexts(3), IsEmpty());
}

/// Replies in the usual reports of 64 bytes.
using ExchangeReplyInReports = ExchangeAmongEvents;

TEST_F(ExchangeReplyInReports, IsTakenWholeWhenItsReportsComeInTime) {
    const std::string reply = informationReply({0, std::string(20000, 'x'), "B", "P", "000000"});
    answerWhole("8001", reply);
    EXPECT_EQ(getInfo(), (Information{0, std::string(20000, 'x'), "B", "P", "000000"}));
}

TEST_F(ExchangeReplyInReports, OfManyBytesACharacterIsTakenWhole) {
    std::string sn;
    for (int i = 0; i < 100; ++i) {
        sn += "a终é\xF0\x9F\x93\xA0"; // ten bytes: cut by the ends of the reports at every place
    }
    const Information expected{0, sn, "B", "P", "000000"};
    answerWhole("8001", informationReply(expected));
    EXPECT_EQ(getInfo(), expected);
}

} // namespace
