#include "Row.h"
#include "tests/analysis/TransactionFixture.h"
#include "tests/interface/FailingAllocation.h"

#include <QTextCodec>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

/// Handing over the task of a dot handover, whose message is sent as bytes.
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
    std::string retCode() const { return m_retCode.written(); }

private:
    OutputBuffer m_retCode;
};

TEST_F(DotHandover, SendsRouteAndOrganisationInGbkOtherTextsByteForByteAndCountsBytes) {
    // § ° × ÷ à é, one byte each in Latin-1, and two in GBK.
    const std::string latin1 = "\xA7\xB0\xD7\xF7\xE0\xE9";
    const std::string gbk = "\xA1\xEC\xA1\xE3\xA1\xC1\xA1\xC2\xA8\xA4\xA8\xA6";
    // The bytes of UTF-8 are characters of their own too.
    const std::string utf8 = "终端";
    const std::string utf8InGbk =
        QTextCodec::codecForName("GBK")->fromUnicode(QString::fromLatin1(utf8.c_str())).toStdString();
    EXPECT_NE(utf8InGbk, utf8);
    struct Texts {
        std::string road, orgName, other, sentRoad, sentOrgName;
    };
    for (const Texts& texts : {Texts{"R " + latin1, latin1 + " O", "x", "R " + gbk, gbk + " O"},
                               Texts{utf8, "O", "x", utf8InGbk, "O"},
                               Texts{"R", "O", "\xFF\xFE\x80 " + latin1 + "终", "R", "O"}}) {
        newLines();
        answer("8008", tag("Ex_RetCode", "000000"));
        EXPECT_EQ(send(texts.road, texts.orgName, texts.other), 0);
        EXPECT_EQ(retCode(), "000000");
        const std::string expected = body(texts.sentRoad, texts.sentOrgName, texts.other);
        constexpr int envelope = 112;
        const std::string sent = newMessage();
        EXPECT_EQ(masked(sent), maskedMessage("8008", "000" + std::to_string(m_SeqNo), expected,
                                              envelope + static_cast<int>(expected.size())));
        const std::vector<std::string> lines = newLines();
        EXPECT_THAT(lines, Contains("4 600008 SendData pre: " + sent));
        EXPECT_THAT(lines, Contains("4 Write XML1: " + sent + " sendLen:" + std::to_string(sent.size())));
    }
}

TEST_F(DotHandover, OpensAClosedChannelOnceMoreAndIsSentOnceItIsOpen) {
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
    terminal().replug();
    answer("8008", tag("Ex_RetCode", "000000"));
    EXPECT_EQ(send("R", "O", "x"), 0);
    EXPECT_EQ(retCode(), "000000");
    EXPECT_EQ(m_SeqNo, 2);
}

/// The member of the same name with 25 texts.
using DotHandoverOfTexts = TransactionTest;

TEST_F(DotHandoverOfTexts, ReturnsZeroAndOnlyWritesALine) {
    stopChannel();
    newLines();
    m_PerformTasksYN = 1;
    char text[] = "untouched";
    const auto send = [this](char* x) {
        return analyser().SyncHandoverDotData(x, x, x, x, x, x, x, x, x, x, x, x, x, x, x, x, x, x, x, x, x,
                                              x, x, x, x);
    };
    for (char* const argument : {text, static_cast<char*>(nullptr)}) {
        EXPECT_LT(timeOf([&] { EXPECT_EQ(send(argument), 0); }), kOpeningWait);
        EXPECT_THAT(newLines(), ElementsAre("1 [SyncHandoverDotData1] begin"));
    }
    failEachAllocation([] {}, [&] { return send(text); }, [](int result) { EXPECT_EQ(result, 0); });
    EXPECT_STREQ(text, "untouched");
    EXPECT_FALSE(g_hidRun);
    EXPECT_THAT(terminal().received(), IsEmpty());
    EXPECT_EQ(m_SeqNo, 0);
    EXPECT_EQ(m_PerformTasksYN, 1);
}

} // namespace
