#include "ExchangeFixture.h"
#include "PrivateDirectory.h"

namespace {

using pdalink::test::countLogLines;
using pdasim::Fault;
using testing::ElementsAre;

/// Which lines a call leaves, in which order and at which level.
class ExchangeLog : public ExchangeTest {
protected:
    /// "level text" of the lines since the last call of this.
    std::vector<std::string> newLines() {
        const std::vector<pdalink::test::LogLine> log = pdalink::test::readLog();
        std::vector<std::string> lines;
        for (std::size_t i = m_seen; i < log.size(); ++i) {
            lines.push_back(std::to_string(log[i].level) + " " + log[i].text);
        }
        m_seen = log.size();
        return lines;
    }
    void SetUp() override { newLines(); }

    static std::string lengthOf(const std::string& text) { return std::to_string(text.size()); }

    const std::string m_infoReply = informationReply(usualInformation());
    const std::string m_initReply = initialisationReply(usualInitialisation());

private:
    std::size_t m_seen = 0;
};

TEST_F(ExchangeLog, OfAFirstCall) {
    answerWith("8001", m_infoReply);
    const std::string request = R"({"transCode":"600002"})";
    const std::string response = call(request);
    const std::string sent = newMessage();
    EXPECT_THAT(newLines(),
                ElementsAre("1 inJson4:" + request + " inLen:" + lengthOf(request), "1 [GetInfo] begin",
                            "4  VID/PID: 1209 0001\n", "4 Simulated terminals",
                            "4 openHidDevice port: /dev/hidraw0", "4 port open success",
                            "4 600002 SendData pre: " + sent, "4 Write XML: " + sent + " sendLen:112",
                            "4 HID Read XML: " + m_infoReply, "1 Xml1 Type:8001 len:4",
                            "1 outJson:" + response + " outLen:" + lengthOf(response) + " ret:0"));
}

TEST_F(ExchangeLog, OfAFurtherCallDoesNotOpen) {
    openChannel();
    newLines();
    answerWith("8002", m_initReply);
    const std::string request = R"({"transCode":"600001","pdaNumber":"1","pFactory":"A"})";
    const std::string response = call(request);
    const std::string sent = newMessage();
    EXPECT_THAT(newLines(),
                ElementsAre("1 inJson4:" + request + " inLen:" + lengthOf(request), "1 [Init] begin",
                            "4 600001 SendData pre: " + sent, "4 Write XML: " + sent + " sendLen:160",
                            "4 HID Read XML: " + m_initReply, "1 Xml Type:8002 len:4",
                            "1 outJson:" + response + " outLen:" + lengthOf(response) + " ret:0"));
}

TEST_F(ExchangeLog, OfDirectCalls) {
    openChannel();
    newLines();
    answerWith("8001", m_infoReply);
    getInfo();
    std::string sent = newMessage();
    EXPECT_THAT(newLines(), ElementsAre("1 [GetInfo] begin", "4 600002 SendData pre: " + sent,
                                        "4 Write XML: " + sent + " sendLen:112",
                                        "4 HID Read XML: " + m_infoReply, "1 Xml1 Type:8001 len:4"));
    answerWith("8002", m_initReply);
    init("", "");
    sent = newMessage();
    EXPECT_THAT(newLines(), ElementsAre("1 [Init] begin", "4 600001 SendData pre: " + sent,
                                        "4 Write XML: " + sent + " sendLen:158",
                                        "4 HID Read XML: " + m_initReply, "1 Xml Type:8002 len:4"));
}

TEST_F(ExchangeLog, OfAReplyOfAnotherTypeToGetInfo) {
    openChannel();
    newLines();
    answerWith("8001", m_initReply);
    EXPECT_EQ(getInfo(), kNoInformation);
    const std::string sent = newMessage();
    EXPECT_THAT(newLines(), ElementsAre("1 [GetInfo] begin", "4 600002 SendData pre: " + sent,
                                        "4 Write XML: " + sent + " sendLen:112",
                                        "4 HID Read XML: " + m_initReply, "1 Xml1 Type:8002 len:4",
                                        "1 Read XML:" + m_initReply + " ---Wrong Command --Delete"));
}

TEST_F(ExchangeLog, OfAReplyOfAnotherTypeToInit) {
    openChannel();
    newLines();
    answerWith("8002", m_infoReply);
    EXPECT_EQ(init("", ""), kNoInitialisation);
    const std::string sent = newMessage();
    EXPECT_THAT(newLines(), ElementsAre("1 [Init] begin", "4 600001 SendData pre: " + sent,
                                        "4 Write XML: " + sent + " sendLen:158",
                                        "4 HID Read XML: " + m_infoReply, "1 Xml Type:8001 len:4",
                                        "1 Read XML:" + m_infoReply + " ---Wrong Command --Delete"));
}

TEST_F(ExchangeLog, OfASilenceAfterGetInfo) {
    openChannel();
    newLines();
    terminal().addFault("8001", Fault().silence());
    EXPECT_EQ(getInfo(), kNoInformation);
    const std::string sent = newMessage();
    EXPECT_THAT(newLines(), ElementsAre("1 [GetInfo] begin", "4 600002 SendData pre: " + sent,
                                        "4 Write XML: " + sent + " sendLen:112", "4 HID Read XML: "));
}

TEST_F(ExchangeLog, OfASilenceAfterInit) {
    openChannel();
    newLines();
    terminal().addFault("8002", Fault().silence());
    EXPECT_EQ(init("", ""), kNoInitialisation);
    const std::string sent = newMessage();
    EXPECT_THAT(newLines(),
                ElementsAre("1 [Init] begin", "4 600001 SendData pre: " + sent,
                            "4 Write XML: " + sent + " sendLen:158", "4 HID Read XML: ", "4 HID Read XML: "));
}

TEST_F(ExchangeLog, OfARefusedWrite) {
    openChannel();
    newLines();
    terminal().addFault("8001", Fault().refuseWrite(5));
    EXPECT_EQ(getInfo(), kInformationNotSent);
    const std::string sent = newMessage();
    EXPECT_THAT(newLines(), ElementsAre("1 [GetInfo] begin", "4 600002 SendData pre: " + sent,
                                        "4 sendLen error. need to reopen device errno:5 info:Input/output "
                                        "error",
                                        "4 Write XML error:" + sent + "  sendLen:-1 bufferLen:112"));
}

TEST_F(ExchangeLog, OfAShortWrite) {
    openChannel();
    newLines();
    terminal().addFault("8001", Fault().shortWrite(50));
    EXPECT_EQ(getInfo(), kInformationNotSent);
    const std::string sent = newMessage();
    EXPECT_THAT(newLines(), ElementsAre("1 [GetInfo] begin", "4 600002 SendData pre: " + sent,
                                        "4 Write XML error:" + sent + "  sendLen:50 bufferLen:112"));
}

TEST_F(ExchangeLog, WithoutATerminal) {
    terminal().unplug();
    EXPECT_EQ(getInfo(), kInformationNotSent);
    const std::vector<std::string> lines = newLines();
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0], "1 [GetInfo] begin");
    EXPECT_EQ(lines[1], "4 openHidDevice port: ");
    EXPECT_EQ(lines[2].substr(0, 33), "4 600002 SendData pre: 0001128001");
    EXPECT_EQ(lines[3], "4 hid device is not open");
}

TEST_F(ExchangeLog, WithANodeThatCannotBeOpened) {
    terminal().refuseOpening(true);
    EXPECT_EQ(getInfo(), kInformationNotSent);
    const std::vector<std::string> lines = newLines();
    ASSERT_EQ(lines.size(), 7U);
    EXPECT_EQ(lines[3], "4 openHidDevice port: /dev/hidraw0");
    EXPECT_EQ(lines[4], "4 port open fail");
    EXPECT_EQ(lines[5].substr(0, 33), "4 600002 SendData pre: 0001128001");
    EXPECT_EQ(lines[6], "4 hid device is not open");
}

TEST_F(ExchangeLog, KeepsTextsOfTheTerminalAsTheyAre) {
    openChannel();
    newLines();
    const std::string reply = message("8001", tag("Ex_EIMI", "100% %s%n\n终端"));
    answerWith("8001", reply);
    EXPECT_EQ(getInfo(), (Information{0, "100% %s%n\n终端", "", "", ""}));
    const std::vector<std::string> lines = newLines();
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(lines[3], "4 HID Read XML: " + reply);
}

const std::string kCutShort = "an earlier message was not taken: the wait for the reply is cut short";

TEST_F(ExchangeLog, WarnsThatAnEarlierMessageCutsTheWaitShort) {
    openChannel();
    g_isBufferCome = true;
    newLogTexts();
    getInfo();
    const std::string sent = newMessage();
    const std::vector<std::string> texts = newLogTexts();
    EXPECT_THAT(std::vector<std::string>(texts.begin(), texts.begin() + 4),
                ElementsAre("[GetInfo] begin", "600002 SendData pre: " + sent, kCutShort,
                            "Write XML: " + sent + " sendLen:112"));
    EXPECT_EQ(countLogLines(kCutShort), 1);
}

TEST_F(ExchangeLog, WarnsNotBeforeAMessageWithoutAnswer) {
    openChannel();
    g_isBufferCome = true;
    char number[] = "1";
    char code[] = "000000";
    analyser().SyncLoginResult(number, code);
    EXPECT_EQ(countLogLines(kCutShort), 0);
    g_isBufferCome = false;
}

} // namespace
