#include "TransactionFixture.h"
#include "tests/interface/FailingAllocation.h"

#include <QTextCodec>
#include <array>
#include <cerrno>

namespace {

using pdalink::test::waitUntil;
using pdasim::Fault;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// Handing over a task.
class DotHandover : public TransactionTest {
protected:
    /// A call whose texts are these.
    int send(const std::string& road, const std::string& orgName, const std::string& other) {
        int taskType = 1;
        int total = 2;
        return analyser().SyncHandoverDotData(
            HostText(other), HostText(other), &taskType, HostText(road), HostText(other), HostText(other),
            HostText(orgName), &total, HostText(other), HostText(other), HostText(other), m_retCode.data());
    }
    static std::string body(const std::string& road, const std::string& orgName, const std::string& other) {
        return tag("Ex_PdaSn", other) + tag("Ex_TaskId", other) + "<Ex_TaskType>1</Ex_TaskType>" +
               tag("Ex_Road", road) + tag("Ex_ExcgTime", other) + tag("Ex_OrgNum", other) +
               tag("Ex_OrgNm", orgName) + "<Ex_Total>2</Ex_Total>" + tag("Ex_Label", other) +
               tag("Ex_UserA", other) + tag("Ex_UserB", other);
    }
    /// Expects the body whole, and its bytes counted.
    void expectSent(const std::string& expectedBody) {
        constexpr int envelope = 112;
        const int length = envelope + static_cast<int>(expectedBody.size());
        EXPECT_EQ(newMaskedMessage(), maskedMessage("8008", "0001", expectedBody, length));
    }
    std::string retCode() const { return m_retCode.written(); }

private:
    OutputBuffer m_retCode;
};

// § ° × ÷ à é, one byte each in Latin-1, and two in GBK.
const std::string kLatin1 = "\xA7\xB0\xD7\xF7\xE0\xE9";
const std::string kGbk = "\xA1\xEC\xA1\xE3\xA1\xC1\xA1\xC2\xA8\xA4\xA8\xA6";

TEST_F(DotHandover, SendsRouteAndOrganisationInGbkAndCountsTheirBytes) {
    answer("8008", tag("Ex_RetCode", "000000"));
    EXPECT_EQ(send("R " + kLatin1, kLatin1 + " O", "x"), 0);
    expectSent(body("R " + kGbk, kGbk + " O", "x"));
    EXPECT_EQ(retCode(), "000000");
}

TEST_F(DotHandover, ReadsRoutesByteByByte) {
    // UTF-8 is no exception: its bytes are characters of their own.
    const std::string route = "终端";
    const std::string encoded =
        QTextCodec::codecForName("GBK")->fromUnicode(QString::fromLatin1(route.c_str())).toStdString();
    answer("8008", tag("Ex_RetCode", "000000"));
    EXPECT_EQ(send(route, "O", "x"), 0);
    EXPECT_NE(encoded, route);
    expectSent(body(encoded, "O", "x"));
}

TEST_F(DotHandover, SendsTheOtherTextsByteForByte) {
    const std::string bytes = "\xFF\xFE\x80 " + kLatin1 + "终";
    answer("8008", tag("Ex_RetCode", "000000"));
    EXPECT_EQ(send("R", "O", bytes), 0);
    expectSent(body("R", "O", bytes));
}

TEST_F(DotHandover, IsLoggedByteForByte) {
    const std::string replyText = reply("8008", tag("Ex_RetCode", "000000"));
    answerWith("8008", replyText);
    EXPECT_EQ(send(kLatin1, "O", "x"), 0);
    const std::string sent = newMessage();
    EXPECT_THAT(newLines(), ElementsAre("1 Enter [SyncHandoverDotData]", "4 600008 SendData pre: " + sent,
                                        "4 Write XML1: " + sent + " sendLen:" + std::to_string(sent.size()),
                                        "4 HID Read XML: " + replyText, "1 Xml Type:8008 len:4"));
}

TEST_F(DotHandover, TakesNumbersOfAllSizes) {
    int taskType = -2147483647 - 1;
    int total = 2147483647;
    answer("8008", tag("Ex_RetCode", "000000"));
    EXPECT_EQ(analyser().SyncHandoverDotData(HostText(""), HostText(""), &taskType, HostText(""),
                                             HostText(""), HostText(""), HostText(""), &total, HostText(""),
                                             HostText(""), HostText(""), nullptr),
              0);
    EXPECT_THAT(newBody(), HasSubstr("<Ex_TaskType>-2147483648</Ex_TaskType><Ex_Road></Ex_Road>"));
    EXPECT_EQ(m_SeqNo, 1);
}

TEST_F(DotHandover, ThatIsRefusedByTheDeviceSaysSoInItsOwnWords) {
    terminal().addFault("8008", Fault().refuseWrite(EIO));
    EXPECT_EQ(send("R", "O", "x"), -1);
    const std::string sent = newMessage();
    EXPECT_THAT(newLines(), ElementsAre("1 Enter [SyncHandoverDotData]", "4 600008 SendData pre: " + sent,
                                        "4 sendLen error. need to reopen device1 errno:5 info:Input/output "
                                        "error",
                                        "4 Write XML1 error:" + sent +
                                            "  sendLen:-1 bufferLen:" + std::to_string(sent.size())));
    EXPECT_EQ(m_PerformTasksYN, 1);
    EXPECT_EQ(retCode(), "");
}

TEST_F(DotHandover, ThatIsTakenInPartSaysSoInItsOwnWords) {
    terminal().addFault("8008", Fault().shortWrite(60));
    EXPECT_EQ(send("R", "O", "x"), -1);
    const std::string sent = newMessage();
    EXPECT_THAT(newLines(), ElementsAre("1 Enter [SyncHandoverDotData]", "4 600008 SendData pre: " + sent,
                                        "4 Write XML1 error:" + sent +
                                            "  sendLen:60 bufferLen:" + std::to_string(sent.size())));
}

TEST_F(DotHandover, OpensAClosedChannelOnceMore) {
    stopChannel();
    terminal().unplug();
    newLines();
    EXPECT_EQ(send("R", "O", "x"), -1);
    std::vector<std::string> lines = newLines();
    ASSERT_EQ(lines.size(), 7U);
    const std::string sent = lines[2].substr(std::string("4 600008 SendData pre: ").size());
    EXPECT_EQ(sent.substr(6, 4), "8008");
    EXPECT_THAT(lines, ElementsAre("1 Enter [SyncHandoverDotData]",
                                   "4 openHidDevice port: ", "4 600008 SendData pre: " + sent,
                                   "4 hid device is not open1", "4 openHidDevice port: ",
                                   "4 sendLen error. need to reopen device1 errno:9 info:Bad file descriptor",
                                   "4 Write XML1 error:" + sent +
                                       "  sendLen:-1 bufferLen:" + std::to_string(sent.size())));
    EXPECT_EQ(m_PerformTasksYN, 1);
    EXPECT_EQ(retCode(), "");
}

TEST_F(DotHandover, IsSentAgainOnceTheChannelIsOpen) {
    stopChannel();
    terminal().unplug();
    EXPECT_EQ(send("R", "O", "x"), -1);
    terminal().replug();
    answer("8008", tag("Ex_RetCode", "000000"));
    EXPECT_EQ(send("R", "O", "x"), 0);
    EXPECT_EQ(retCode(), "000000");
    EXPECT_EQ(m_SeqNo, 2);
}

TEST_F(DotHandover, OfTwentyFiveTextsOnlyWritesALine) {
    char text[] = "untouched";
    m_PerformTasksYN = 1;
    const Milliseconds time = timeOf([this, &text] {
        EXPECT_EQ(analyser().SyncHandoverDotData(text, text, text, text, text, text, text, text, text, text,
                                                 text, text, text, text, text, text, text, text, text, text,
                                                 text, text, text, text, text),
                  0);
    });
    EXPECT_LT(time, kOpeningWait);
    EXPECT_STREQ(text, "untouched");
    EXPECT_THAT(newLines(), ElementsAre("1 [SyncHandoverDotData1] begin"));
    EXPECT_THAT(terminal().received(), IsEmpty());
    EXPECT_EQ(m_SeqNo, 0);
    EXPECT_EQ(m_PerformTasksYN, 1);
}

TEST_F(DotHandover, OfTwentyFiveNullsIsOneToo) {
    stopChannel();
    EXPECT_EQ(analyser().SyncHandoverDotData(
                  nullptr, nullptr, static_cast<char*>(nullptr), nullptr, nullptr, nullptr, nullptr,
                  static_cast<char*>(nullptr), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                  nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
              0);
    EXPECT_FALSE(g_hidRun);
}

TEST_F(DotHandover, OfTwentyFiveTextsLosesItsLineAtMost) {
    char text[] = "untouched";
    m_PerformTasksYN = 1;
    int result = -99;
    {
        const FailingAllocation failing(1);
        result = analyser().SyncHandoverDotData(text, text, text, text, text, text, text, text, text, text,
                                                text, text, text, text, text, text, text, text, text, text,
                                                text, text, text, text, text);
        EXPECT_TRUE(failing.happened());
    }
    EXPECT_EQ(result, 0);
    EXPECT_EQ(m_PerformTasksYN, 1);
}

TEST_F(DotHandover, ReadsTheBytesOfJsonTextsOneByOneToo) {
    answer("8008", tag("Ex_RetCode", "000000"));
    EXPECT_EQ(
        ask(R"({"transCode":"600008","pdaNumber":"x","pTaskID":"x","pTaskType":1,"pRoad":"R",)"
            R"("pExcgTime":"x","pOrgNum":"x","pOrgNm":"O","pTotal":2,"pLabel":"x","pAName":"é","pBName":"x"})"),
        (JsonAnswer{0, R"({"pRetCode":"000000","transCode":"600008"})"}));
    EXPECT_THAT(newMessage(), HasSubstr("<Ex_UserA>é</Ex_UserA><Ex_UserB>x</Ex_UserB>"));
}

/// What became of it.
class DotHandoverResult : public TransactionTest {
protected:
    int fetch(std::array<ShortOutputBuffer, 23>& x) {
        return analyser().GetHandoverDotRet(
            HostText("7"), HostText("T"), x[0].data(), x[1].data(), x[2].data(), x[3].data(), x[4].data(),
            x[5].data(), x[6].data(), x[7].data(), x[8].data(), x[9].data(), x[10].data(), x[11].data(),
            x[12].data(), x[13].data(), x[14].data(), x[15].data(), x[16].data(), x[17].data(), x[18].data(),
            x[19].data(), x[20].data(), x[21].data(), x[22].data());
    }
    /// The result and the state.
    std::pair<int, std::string> fetch() {
        std::array<ShortOutputBuffer, 23> outputs;
        const int result = fetch(outputs);
        return {result, outputs.back().written()};
    }
    using Got = std::pair<int, std::string>;
};

TEST_F(DotHandoverResult, RaisesTheFlagUnlessTheStateIsZero) {
    for (const bool before : {false, true}) {
        for (const char* state : {"1", "00", "000060", " 0", "0 ", "", "-0"}) {
            pda_HandoverDotState = before;
            answer("8009", tag("Ex_State", state));
            EXPECT_EQ(fetch(), Got(0, state));
            EXPECT_TRUE(pda_HandoverDotState) << '"' << state << '"';
        }
        pda_HandoverDotState = before;
        answer("8009", tag("Ex_State", "0"));
        EXPECT_EQ(fetch(), Got(0, "0"));
        EXPECT_FALSE(pda_HandoverDotState);
    }
    EXPECT_FALSE(pda_HandoverPowerState) << "that is another's";
}

TEST_F(DotHandoverResult, WithoutAStateRaisesTheFlag) {
    answer("8009", tag("Ex_Road", "R") + tag("Ex_RetCode", "000017"));
    EXPECT_EQ(fetch(), Got(0, ""));
    EXPECT_TRUE(pda_HandoverDotState);
}

TEST_F(DotHandoverResult, IsWaitedForTwice) {
    pda_HandoverDotState = true;
    terminal().addFault("8009", Fault().silence());
    std::array<ShortOutputBuffer, 23> outputs;
    const Milliseconds time = timeOf([&] { EXPECT_EQ(fetch(outputs), 2); });
    EXPECT_GE(time, 2 * kSilentWait);
    EXPECT_LT(time, 4 * kSilentWait);
    for (std::size_t i = 0; i + 1 < outputs.size(); ++i) {
        EXPECT_EQ(outputs[i].written(), "");
    }
    EXPECT_EQ(outputs.back().written(), "000060");
    EXPECT_TRUE(pda_HandoverDotState);
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(DotHandoverResult, MayComeInTheSecondWait) {
    std::thread terminalLater = answerInTheSecondWait("8009", tag("Ex_State", "late"));
    EXPECT_EQ(fetch(), Got(0, "late"));
    terminalLater.join();
    EXPECT_TRUE(pda_HandoverDotState);
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(DotHandoverResult, IsWaitedForAgainAfterAReportWithoutText) {
    terminal().addFault("8009", Fault().silence());
    std::thread terminalLater([this] {
        EXPECT_TRUE(terminal().waitForMessages(1, kSilentWait));
        terminal().sendReport(std::string(64, '\0'));
        EXPECT_TRUE(waitUntil([] { return pdalink::test::countLogLines("HID Read XML: ") == 1; }));
        terminal().sendText(reply("8009", tag("Ex_State", "0")));
    });
    EXPECT_EQ(fetch(), Got(0, "0"));
    terminalLater.join();
}

TEST_F(DotHandoverResult, IsNotWaitedForAgainAfterAReplyOfAnotherType) {
    pda_HandoverDotState = true;
    answerWith("8009", reply("8011", tag("Ex_State", "0")));
    const Milliseconds time = timeOf([&] { EXPECT_EQ(fetch(), Got(2, "000060")); });
    EXPECT_LT(time, kSilentWait);
    EXPECT_TRUE(pda_HandoverDotState);
    EXPECT_THAT(newLines(), Not(Contains("4 HID Read XML: ")));
}

TEST_F(DotHandoverResult, IsNotAnnouncedInTheLog) {
    answer("8009", tag("Ex_State", "0"));
    fetch();
    EXPECT_THAT(newLines(), Not(Contains(HasSubstr("SendData pre"))));
}

TEST_F(DotHandoverResult, HasNothingToDoWithTheStore) {
    pda_HandoverDotData[1] = "stored";
    answer("8009", tag("Ex_State", "1"));
    std::array<ShortOutputBuffer, 23> outputs;
    EXPECT_EQ(fetch(outputs), 0);
    EXPECT_EQ(outputs[0].written(), "");
    EXPECT_EQ(pda_HandoverDotData[1], "stored");
}

TEST_F(DotHandoverResult, ThatIsMissingGivesItsCodeAsTheStateInJson) {
    answerWith("8009", reply("8011", tag("Ex_State", "0")));
    EXPECT_EQ(ask(R"({"transCode":"600009","pdaNumber":"7","pTaskID":"T"})"),
              (JsonAnswer{2, R"({"pAFigData":"","pALogin":"","pAMacChkVal":"","pAName":"","pAPwd":"",)"
                             R"("pARnd":"","pBFigData":"","pBLogin":"","pBMacChkVal":"","pBName":"",)"
                             R"("pBPwd":"","pBRnd":"","pCFigData":"","pCLogin":"","pCMacChkVal":"",)"
                             R"("pCName":"","pCPwd":"","pCRnd":"","pErrLabel":"","pLable":"","pRoad":"",)"
                             R"("pScanState":"000060","pTime":"","transCode":"600009"})"}));
}

} // namespace
