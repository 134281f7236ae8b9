#include "OutputCapture.h"
#include "PrivateDirectory.h"
#include "TestTerminal.h"
#include "analysis/PDAXMLAnalysis.h"
#include "analysis/ResultStores.h"
#include "interface/pdalink.h"
#include "util/LockConfig.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QTimer>

#include <climits>
#include <filesystem>

namespace {

using namespace pdalink::test;

constexpr int kUntouchedLength = -7;
const std::string kGetInfo = R"({"transCode":"600002"})";
const std::string kUnknownCode = R"({"transCode":"700000"})";

/// A call of the entry and what it left in the host's buffers.
struct Call {
    explicit Call(const char* request, int givenLength = 0)
        : result(PDA_CommonCall(request, givenLength, response.data(), &length)) {}

    std::string text() const { return response.c_str(); } // NOLINT(readability-redundant-string-cstr)

    std::string response = std::string(130000, '#');
    int length = kUntouchedLength;
    int result;
};

TEST(Entry, ReturnsZeroWhateverTheRequest) {
    for (const char* request :
         {"", "no JSON", "{}", "[]", "{\"transCode\":", "{\"transCode\":1}", R"({"transCode":"700000"})",
          R"({"transCode":"600001"})", R"({"a":{"transCode":"600002"}})"}) {
        EXPECT_EQ(Call(request).result, 0) << request;
    }
}

TEST(Entry, ReturnsZeroWhenTheTransactionFails) {
    const pdasim::TestBed noDevices;
    const Call call(kGetInfo.c_str());
    EXPECT_EQ(call.result, 0);
    EXPECT_EQ(call.text(),
              R"({"pBleVersion":"","pPDAVersion":"","pRetCode":"","pSN":"","transCode":"600002"})");
}

TEST(Entry, ReturnsZeroWhenTheTransactionSucceeds) {
    const TestTerminal terminal;
    const Call call(kGetInfo.c_str());
    EXPECT_EQ(call.result, 0);
    EXPECT_NE(call.text().find(R"("pRetCode":"000000")"), std::string::npos) << call.text();
}

TEST(Entry, OnlyLogsTheGivenLengthAndReadsTheRequestUpToItsNul) {
    const std::string request = kUnknownCode + std::string("\0garbage", 8);
    for (const int length : {0, 1, -5, INT_MAX, INT_MIN, static_cast<int>(request.size())}) {
        const Call call(request.c_str(), length);
        EXPECT_EQ(call.length, 2) << "without the NUL";
        EXPECT_EQ(call.response.compare(0, 4, std::string("{}\0#", 4)), 0);
        EXPECT_EQ(countLogLines("inJson4:" + kUnknownCode + " inLen:" + std::to_string(length)), 1);
    }
}

TEST(Entry, LeavesTheRequestAlone) {
    char request[] = R"({ "transCode" : "7\u0030\n" })";
    const std::string before = request;
    EXPECT_EQ(Call(request).text(), "{}");
    EXPECT_EQ(request, before);
}

TEST(Entry, ReadsTheConfigurationAtEveryCall) {
    writeIni("VID=1\nPID=2\n");
    EXPECT_EQ(Call(kUnknownCode.c_str()).result, 0);
    EXPECT_EQ(g_Vid, "1");
    writeIni("VID=3\nPID=4\n");
    EXPECT_EQ(Call(kUnknownCode.c_str()).result, 0);
    EXPECT_EQ(g_Vid, "3");
    EXPECT_EQ(countLogLines("Vid/Pid: 1/2  logpath:" + logPath()), 1);
    EXPECT_EQ(countLogLines("Vid/Pid: 3/4  logpath:" + logPath()), 1);
}

TEST(Entry, FindsTheTerminalThatTheChangedConfigurationNames) {
    TestTerminal terminal;
    writeIni("VID=0x1209\nPID=0x0002\n");
    EXPECT_NE(Call(kGetInfo.c_str()).text().find(R"("pRetCode":"")"), std::string::npos);
    writeIni("VID=0x1209\r\nPID=0x0001\r\n");
    EXPECT_NE(Call(kGetInfo.c_str()).text().find(R"("pRetCode":"000000")"), std::string::npos);
}

TEST(Entry, LogsIntoTheSameFileAtEveryCall) {
    EXPECT_EQ(Call(kUnknownCode.c_str()).result, 0);
    const std::size_t linesPerCall = readLog().size();
    EXPECT_EQ(linesPerCall, 4U);
    EXPECT_EQ(Call(kUnknownCode.c_str()).result, 0);
    EXPECT_EQ(readLog().size(), 2 * linesPerCall);
}

TEST(Entry, LogsAgainWhenTheDirectoryWasDeletedBetweenCalls) {
    EXPECT_EQ(Call(kUnknownCode.c_str()).result, 0);
    std::filesystem::remove_all(privateDirectory() + "/log");
    EXPECT_EQ(Call(kUnknownCode.c_str()).result, 0);
    EXPECT_EQ(readLog().size(), 4U);
}

TEST(Entry, AnswersWithoutAConfiguration) {
    removeIni();
    EXPECT_EQ(Call(kUnknownCode.c_str()).text(), "{}");
    EXPECT_FALSE(std::filesystem::exists(privateDirectory() + "/log"));
}

TEST(Entry, CountsTheMessagesOfAllCalls) {
    const TestTerminal terminal;
    EXPECT_EQ(Call(kGetInfo.c_str()).result, 0);
    EXPECT_EQ(m_SeqNo, 1);
    EXPECT_EQ(Call(kGetInfo.c_str()).result, 0);
    EXPECT_EQ(Call(kUnknownCode.c_str()).result, 0);
    EXPECT_EQ(m_SeqNo, 2);
    const std::vector<std::string> received = terminal.received();
    ASSERT_EQ(received.size(), 2U);
    EXPECT_NE(received[0].find("<Ex_SeqNo>0001</Ex_SeqNo>"), std::string::npos);
    EXPECT_NE(received[1].find("<Ex_SeqNo>0002</Ex_SeqNo>"), std::string::npos);
}

TEST(Entry, MayBeEnteredAgainWhileItWaits) {
    const TestTerminal terminal;
    int argumentCount = 1;
    char name[] = "host";
    char* arguments[] = {name, nullptr};
    const QCoreApplication application(argumentCount, arguments);
    std::string innerResponse;
    QTimer::singleShot(0, [&innerResponse] { innerResponse = Call(kUnknownCode.c_str()).text(); });
    const Call outer(kGetInfo.c_str());
    EXPECT_EQ(innerResponse, "{}");
    EXPECT_NE(outer.text().find(R"("pRetCode":"000000")"), std::string::npos) << outer.text();
}

TEST(Entry, DestroysTheAnalyserAfterTheCall) {
    const QtOutputCapture capture;
    const std::string path = "inipath: " + privateDirectory() + "/PDAConfigure.ini";
    EXPECT_EQ(Call(kUnknownCode.c_str()).result, 0);
    EXPECT_EQ(Call("no JSON").result, 0);
    EXPECT_EQ(capture.lines(), (std::vector<std::string>{path, "文件夹log创建成功", "~CPDAXMLAnalysis", path,
                                                         "~CPDAXMLAnalysis"}));
}

TEST(Entry, WritesTheAnalysersEndToTheQtOutputOnly) {
    const QtOutputCapture qtOutput;
    const StandardOutputCapture output;
    EXPECT_EQ(Call(kUnknownCode.c_str()).result, 0);
    EXPECT_EQ(output.text(), privateDirectory() + "/libpdalink.so.1\n");
    EXPECT_EQ(readLogText().find("~CPDAXMLAnalysis"), std::string::npos);
}

/// One combination of null pointers; bit by bit the request, the response and the length.
class PointersToCall {
public:
    explicit PointersToCall(unsigned int which) : m_which(which) {}

    bool isNull(unsigned int which) const { return (m_which >> which & 1U) != 0; }
    bool runs() const { return !isNull(0) && !isNull(1); }

    int call(const std::string& request, bool member) {
        const char* const in = isNull(0) ? nullptr : request.c_str();
        char* const out = isNull(1) ? nullptr : m_response.data();
        int* const length = isNull(2) ? nullptr : &m_length;
        return member ? CPDAXMLAnalysis().PDA_CommonCall(in, 3, out, length)
                      : PDA_CommonCall(in, 3, out, length);
    }

    std::string response() const { return m_response; }
    int length() const { return m_length; }

private:
    unsigned int m_which;
    std::string m_response = std::string(130000, '#');
    int m_length = kUntouchedLength;
};

constexpr unsigned int kCombinations = 8;

TEST(NullPointers, LetTheEntryReturnZeroAndTheRequestBeLogged) {
    for (unsigned int which = 0; which < kCombinations; ++which) {
        SCOPED_TRACE(which);
        PointersToCall pointers(which);
        const std::size_t before = readLogTexts(1).size();
        EXPECT_EQ(pointers.call(kUnknownCode, false), 0);
        EXPECT_EQ(pointers.length(), pointers.runs() && !pointers.isNull(2) ? 2 : kUntouchedLength);
        EXPECT_EQ(pointers.response().substr(0, 4), pointers.runs() ? std::string("{}\0#", 4) : "####");
        const std::vector<std::string> messages = readLogTexts(1);
        ASSERT_EQ(messages.size(), before + (pointers.runs() ? 3U : 1U));
        EXPECT_EQ(messages[before], "inJson4:" + (pointers.isNull(0) ? "" : kUnknownCode) + " inLen:3");
    }
}

TEST(NullPointers, OfRequestOrResponseKeepTheTransactionFromRunning) {
    const TestTerminal terminal;
    int messages = 0;
    for (unsigned int which = 0; which < kCombinations; ++which) {
        SCOPED_TRACE(which);
        EXPECT_EQ(PointersToCall(which).call(kUnknownCode, true), -1);
        PointersToCall pointers(which);
        messages += pointers.runs() ? 1 : 0;
        EXPECT_EQ(pointers.call(kGetInfo, true), pointers.runs() ? 0 : -1);
        EXPECT_EQ(terminal.received().size(), static_cast<std::size_t>(messages));
        EXPECT_EQ(m_SeqNo, messages);
        EXPECT_EQ(pointers.response()[0], pointers.runs() ? '{' : '#');
        EXPECT_EQ(pointers.length() == kUntouchedLength, !pointers.runs() || pointers.isNull(2));
    }
}

TEST(Analyser, HoldsNoDataAndLoadsTheConfiguration) {
    EXPECT_EQ(sizeof(CPDAXMLAnalysis), 1U);
    writeIni("VID=1\nPID=2\n");
    const QtOutputCapture capture;
    {
        const CPDAXMLAnalysis analyser;
        EXPECT_EQ(g_Vid, "1");
        EXPECT_EQ(capture.lines().back(), "文件夹log创建成功");
    }
    EXPECT_EQ(capture.lines().back(), "~CPDAXMLAnalysis");
    EXPECT_EQ(readLog().size(), 1U);
}

TEST(Analyser, LoadsTheConfigurationOnlyWhenItIsMade) {
    writeIni("VID=1\nPID=2\n");
    CPDAXMLAnalysis analyser;
    writeIni("VID=3\nPID=4\n");
    Call unused(kUnknownCode.c_str());
    writeIni("VID=5\nPID=6\n");
    char response[16] = {};
    EXPECT_EQ(analyser.PDA_CommonCall(kUnknownCode.c_str(), 0, response, nullptr), -1);
    EXPECT_EQ(g_Vid, "3");
}

TEST(Analyser, TakesNullInputsForEmptyTexts) {
    const TestTerminal terminal;
    char returnCode[16] = {};
    EXPECT_EQ(CPDAXMLAnalysis().Init(nullptr, nullptr, nullptr, nullptr, returnCode), 0);
    EXPECT_STREQ(returnCode, "000000");
    ASSERT_EQ(terminal.received().size(), 1U);
    EXPECT_NE(terminal.received()[0].find("<Ex_PdaSn></Ex_PdaSn><Ex_Factory></Ex_Factory>"),
              std::string::npos);
}

TEST(Analyser, SkipsNullOutputs) {
    TestTerminal terminal;
    pdasim::Identity identity;
    identity.bleVersion = "B2";
    terminal.setIdentity(identity);
    char bleVersion[16] = {};
    EXPECT_EQ(CPDAXMLAnalysis().GetInfo(nullptr, bleVersion, nullptr, nullptr), 0);
    EXPECT_STREQ(bleVersion, "B2");
    terminal.addFault("8001", pdasim::Fault().replyType("8002"));
    EXPECT_EQ(CPDAXMLAnalysis().GetInfo(nullptr, nullptr, nullptr, nullptr), 2);
}

QString converted(std::string text) {
    QString out = QStringLiteral("left over");
    CPDAXMLAnalysis().ConvertUTF8ToANSI(text.data(), out);
    return out;
}

TEST(Conversion, ReadsTheTextAsUtf8AndNullAsEmpty) {
    EXPECT_EQ(converted("plain"), "plain");
    EXPECT_EQ(converted("张三 €"), QString::fromUtf8("张三 €"));
    EXPECT_EQ(converted(""), "");
    EXPECT_EQ(converted("%s%d%n"), "%s%d%n");
    EXPECT_EQ(converted("x\xFFy"), QString(QStringLiteral("x") + QChar(QChar::ReplacementCharacter) + "y"));
    QString out = QStringLiteral("left over");
    CPDAXMLAnalysis().ConvertUTF8ToANSI(nullptr, out);
    EXPECT_TRUE(out.isEmpty());
}

} // namespace
