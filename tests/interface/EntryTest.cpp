#include "OutputCapture.h"
#include "PrivateDirectory.h"
#include "TestTerminal.h"
#include "analysis/PDAXMLAnalysis.h"
#include "analysis/ResultStores.h"
#include "interface/pdalink.h"
#include "util/LockConfig.h"

#include <gtest/gtest.h>

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

TEST(Entry, ReturnsZeroWhateverTheRequestAndItsOutcome) {
    for (const char* request :
         {"", "no JSON", "{}", "[]", "{\"transCode\":", "{\"transCode\":1}", R"({"transCode":"700000"})",
          R"({"transCode":"600001"})", R"({"a":{"transCode":"600002"}})"}) {
        EXPECT_EQ(Call(request).result, 0) << request;
    }
    {
        const pdasim::TestBed noDevices;
        const Call failing(kGetInfo.c_str());
        EXPECT_EQ(failing.result, 0);
        EXPECT_EQ(failing.text(),
                  R"({"pBleVersion":"","pPDAVersion":"","pRetCode":"","pSN":"","transCode":"600002"})");
    }
    const TestTerminal terminal;
    EXPECT_EQ(Call(kGetInfo.c_str()).result, 0);
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

TEST(Entry, ReadsTheConfigurationAtEveryCall) {
    const TestTerminal terminal;
    writeIni("VID=0x1209\nPID=0x0002\n");
    EXPECT_NE(Call(kGetInfo.c_str()).text().find(R"("pRetCode":"")"), std::string::npos);
    writeIni("VID=0x1209\r\nPID=0x0001\r\n");
    EXPECT_NE(Call(kGetInfo.c_str()).text().find(R"("pRetCode":"000000")"), std::string::npos);
    EXPECT_EQ(countLogLines("Vid/Pid: 1209/0002  logpath:" + logPath()), 1);
    EXPECT_EQ(countLogLines("Vid/Pid: 1209/0001  logpath:" + logPath()), 1);
}

TEST(Entry, LogsIntoTheSameFileAtEveryCallUnlessItsDirectoryWasDeleted) {
    for (const std::size_t lines : {4U, 8U}) {
        EXPECT_EQ(Call(kUnknownCode.c_str()).result, 0);
        EXPECT_EQ(readLog().size(), lines);
    }
    std::filesystem::remove_all(privateDirectory() + "/log");
    EXPECT_EQ(Call(kUnknownCode.c_str()).result, 0);
    EXPECT_EQ(readLog().size(), 4U);
}

TEST(Entry, CountsTheMessagesOfAllCalls) {
    const TestTerminal terminal;
    for (const char* number : {"0001", "0002"}) {
        EXPECT_EQ(Call(kGetInfo.c_str()).result, 0);
        EXPECT_EQ(Call(kUnknownCode.c_str()).result, 0);
        EXPECT_EQ(m_SeqNo, std::stoi(number));
        EXPECT_NE(terminal.received().back().find(std::string("<Ex_SeqNo>") + number + "</Ex_SeqNo>"),
                  std::string::npos);
    }
}

TEST(Entry, DestroysTheAnalyserAfterTheCallAndTellsTheQtOutputOnly) {
    const QtOutputCapture capture;
    const StandardOutputCapture output;
    const std::string path = "inipath: " + privateDirectory() + "/PDAConfigure.ini";
    EXPECT_EQ(Call(kUnknownCode.c_str()).result, 0);
    EXPECT_EQ(Call("no JSON").result, 0);
    EXPECT_EQ(capture.lines(), (std::vector<std::string>{path, "文件夹log创建成功", "~CPDAXMLAnalysis", path,
                                                         "~CPDAXMLAnalysis"}));
    EXPECT_EQ(output.lines(), std::vector<std::string>(2, privateDirectory() + "/libpdalink.so.1"));
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

TEST(Analyser, HoldsNoDataAndLoadsTheConfigurationOnlyWhenItIsMade) {
    EXPECT_EQ(sizeof(CPDAXMLAnalysis), 1U);
    writeIni("VID=1\nPID=2\n");
    CPDAXMLAnalysis analyser;
    EXPECT_EQ(g_Vid, "1");
    EXPECT_EQ(readLog().size(), 1U);
    writeIni("VID=3\nPID=4\n");
    char response[16] = {};
    EXPECT_EQ(analyser.PDA_CommonCall(kUnknownCode.c_str(), 0, response, nullptr), -1);
    EXPECT_EQ(g_Vid, "1");
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
