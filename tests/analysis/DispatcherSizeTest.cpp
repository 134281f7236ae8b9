#include "ProcessFacts.h"
#include "TestTerminal.h"
#include "device/HIDDevice.h"
#include "tests/analysis/DispatcherFixture.h"
#include "util/MutexGuard.h"

#include <pthread.h>

#include <QCoreApplication>
#include <QTimer>

#include <functional>

namespace {

using namespace pdalink::test;

// The sanitizers need room of their own on the stack.
constexpr std::size_t kSmallStack = PDALINK_IS_SANITIZED ? 1024 * 1024 : 96 * 1024;

void* runFunction(void* function) {
    (*static_cast<std::function<void()>*>(function))();
    return nullptr;
}

/// Runs a function on a thread with a small stack.
void runOnSmallStack(std::function<void()> function) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, kSmallStack), 0);
    pthread_t thread{};
    ASSERT_EQ(pthread_create(&thread, &attributes, runFunction, &function), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

std::string repeated(const std::string& piece, std::size_t count) {
    std::string text;
    text.reserve(piece.size() * count);
    for (std::size_t i = 0; i < count; ++i) {
        text += piece;
    }
    return text;
}

class DispatcherSize : public DispatcherTest {
protected:
    Answer askOnSmallStack(const std::string& request) {
        Answer answer;
        runOnSmallStack([&] { answer = ask(request); });
        return answer;
    }

    /// All log files' entries, oldest first.
    static std::vector<LogLine> wholeLog() {
        std::string text;
        for (int number = 5; number > 0; --number) {
            text += readFile(logPath() + "." + std::to_string(number));
        }
        return parseLog(text + readLogText());
    }
};

constexpr std::size_t kDepth = 1000000;
constexpr std::size_t kTenMebibytes = 10UL * 1024 * 1024;

TEST_F(DispatcherSize, AnswersRequestsOfAnyDepthOnASmallStack) {
    const std::string brackets = repeated("[", kDepth) + repeated("]", kDepth);
    const Answer answer = askOnSmallStack(R"({"transCode":"700000","x":)" + brackets + "}");
    EXPECT_EQ(answer.result, -1);
    EXPECT_EQ(answer.text(), "{}");
}

TEST_F(DispatcherSize, AnswersNestedObjectsOfAnyDepthOnASmallStack) {
    const std::string objects = repeated(R"({"x":)", kDepth) + "1" + repeated("}", kDepth);
    const Answer answer = askOnSmallStack(R"({"transCode":"700000","x":)" + objects + "}");
    EXPECT_EQ(answer.result, -1);
    EXPECT_EQ(answer.text(), "{}");
}

TEST_F(DispatcherSize, RefusesUnfinishedNestingOfAnyDepthOnASmallStack) {
    EXPECT_TRUE(askOnSmallStack(R"({"transCode":"700000","x":)" + repeated("[", kDepth)).untouched());
    EXPECT_TRUE(askOnSmallStack(repeated(R"({"transCode":)", kDepth)).untouched());
    EXPECT_TRUE(
        askOnSmallStack(repeated("[", kDepth) + R"("transCode")" + repeated("]", kDepth)).untouched());
}

TEST_F(DispatcherSize, RunsATransactionOnASmallStack) {
    const TestTerminal terminal;
    const std::string brackets = repeated("[", kDepth) + repeated("]", kDepth);
    EXPECT_EQ(askOnSmallStack(R"({"x":)" + brackets + R"(,"transCode":"600002"})").result, 0);
}

TEST_F(DispatcherSize, LogsALongRequestWholeAndRotates) {
    const std::string request = R"({"transCode":"700000","x":")" + std::string(kTenMebibytes, 'x') + "\"}";
    const Answer answer = ask(request);
    EXPECT_EQ(answer.result, -1);
    EXPECT_EQ(answer.text(), "{}");
    const std::vector<LogLine> rotated = parseLog(readFile(logPath() + ".1"));
    ASSERT_EQ(rotated.size(), 2U);
    EXPECT_TRUE(rotated[1].text == "inJson4:" + request + " inLen:5");
    const std::vector<LogLine> live = readLog();
    ASSERT_EQ(live.size(), 2U);
    EXPECT_EQ(live[0].text, "info msg:transCode:700000 do not have function");
    EXPECT_EQ(live[1].text, "outJson:{} outLen:2 ret:-1");
}

TEST_F(DispatcherSize, LogsALongCodeWhole) {
    const std::string code(kTenMebibytes, '7');
    EXPECT_EQ(ask(R"({"transCode":")" + code + R"("})").text(), "{}");
    const std::vector<LogLine> log = wholeLog();
    ASSERT_EQ(log.size(), 4U);
    EXPECT_TRUE(log[2].text == "info msg:transCode:" + code + " do not have function");
}

TEST_F(DispatcherSize, LogsALongTextThatIsNoJsonWhole) {
    const std::string request = "transCode" + std::string(kTenMebibytes, '{');
    EXPECT_TRUE(ask(request).untouched());
    const std::vector<LogLine> log = wholeLog();
    ASSERT_EQ(log.size(), 2U);
    EXPECT_TRUE(log[1].text == "inJson4:" + request + " inLen:5");
}

TEST_F(DispatcherSize, FindsTheCodeBehindALongMember) {
    const TestTerminal terminal;
    const std::string request = R"({"x":")" + std::string(kTenMebibytes, 'x') + R"(","transCode":"600002"})";
    EXPECT_EQ(ask(request).result, 0);
}

/// Asks for the terminal's identity with these values in its first two tags.
class LongResult : public DispatcherSize {
protected:
    void SetUp() override {
        g_HIDDevice.openHidDevice();
        ASSERT_TRUE(waitUntil([] { return g_hidRun.load(); }));
    }

    Answer askFor(const std::string& serialNumber, const std::string& bleVersion = "B") {
        const std::string reply = "0000008001" + tag("Ex_EIMI", serialNumber) + tag("Ex_BleVer", bleVersion) +
                                  tag("Ex_PdaVer", "P") + tag("Ex_RetCode", "000000");
        return askAndReply(kGetInfo, "8001", reply);
    }

    /// Makes a request and replies to its message of this type.
    Answer askAndReply(const std::string& request, const std::string& type, const std::string& reply) {
        m_terminal.addFault(type, pdasim::Fault().silence());
        // All of it comes inside an event of the wait, however long a busy machine takes for it.
        QTimer::singleShot(0, [this, &reply] {
            m_terminal.sendText(reply);
            EXPECT_TRUE(waitUntil([&reply] { return buffered() == static_cast<int>(reply.size()); }));
        });
        return ask(request);
    }

    static std::string responseWith(const std::string& serialNumber, const std::string& bleVersion,
                                    const std::string& pdaVersion, const std::string& returnCode) {
        return R"({"pBleVersion":")" + bleVersion + R"(","pPDAVersion":")" + pdaVersion +
               R"(","pRetCode":")" + returnCode + R"(","pSN":")" + serialNumber +
               R"(","transCode":"600002"})";
    }

    static int warnings() { return static_cast<int>(readLogTexts(3).size()); }

    static std::string tag(const std::string& name, const std::string& value) {
        return std::string("<").append(name).append(">").append(value).append("</").append(name).append(">");
    }

private:
    static int buffered() {
        const MutexGuard guard(g_lock_buffer);
        return g_buffer.size();
    }

    /// Its reports are long ones: a reply of this length has a thousand of the usual ones.
    static pdasim::SimulatedTerminal::Options longReports() {
        pdasim::SimulatedTerminal::Options options;
        options.reportSize = 4096;
        return options;
    }

    int m_argumentCount = 1;
    char m_name[5] = "host";
    char* m_arguments[2] = {m_name, nullptr};
    QCoreApplication m_application{m_argumentCount, m_arguments};
    TestTerminal m_terminal{longReports()};
};

/// The length of a serial number that makes the response with its NUL exactly so long.
std::size_t fillTo(std::size_t responseWithNul) {
    const std::string rest =
        R"({"pBleVersion":"B","pPDAVersion":"P","pRetCode":"000000","pSN":"","transCode":"600002"})";
    return responseWithNul - 1 - rest.size();
}

TEST_F(LongResult, IsReturnedAsLongAsTheResponseStaysWithin115000Bytes) {
    const std::string value(fillTo(115000), 'v');
    const Answer answer = askFor(value);
    EXPECT_EQ(answer.result, 0);
    EXPECT_EQ(answer.length, 114999);
    EXPECT_EQ(answer.text(), responseWith(value, "B", "P", "000000"));
    EXPECT_EQ(warnings(), 0);
}

TEST_F(LongResult, BeyondThatIsLeftEmptyWithAllOutputsAfterIt) {
    const Answer answer = askFor(std::string(fillTo(115001) + std::string("BP000000").size(), 'v'));
    EXPECT_EQ(answer.result, 1);
    EXPECT_EQ(answer.text(), responseWith("", "", "", ""));
    const std::vector<std::string> warnings = readLogTexts(3);
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_NE(warnings[0].find("pSN"), std::string::npos) << warnings[0];
    EXPECT_EQ(readLogTexts(1).back(),
              "outJson:" + answer.text() + " outLen:" + std::to_string(answer.length) + " ret:1");
}

TEST_F(LongResult, OfShortValuesWithEscapesStaysWithin131072Bytes) {
    const std::string value(4999, '\x01'); // six bytes each in the response
    std::string reply = "0000008009" + tag("Ex_Road", value) + tag("Ex_Time", value);
    for (const char* party : {"A", "B", "C"}) {
        for (const char* name : {"Login", "Name", "FigData", "Rnd", "Pwd", "MacChkVal"}) {
            reply += tag(std::string("Ex_") + party + name, value);
        }
    }
    const Answer answer = askAndReply(R"({"transCode":"600009","pdaNumber":"1","pTaskID":"2"})", "8009",
                                      reply + tag("Ex_Label", value) + tag("Ex_ErrLabel", value));
    EXPECT_EQ(answer.result, 1);
    EXPECT_TRUE(answer.restUntouched());
    EXPECT_GT(answer.length, 4 * 6 * 4999);
    EXPECT_LT(answer.length, 131072);
    EXPECT_NE(answer.text().find(R"("pALogin":"")"), std::string::npos) << "the fifth is too much";
    EXPECT_EQ(answer.text().find(R"("pErrLabel":"")"), std::string::npos) << "the fourth is not";
    EXPECT_EQ(warnings(), 1);
}

TEST_F(LongResult, DoesNotConcernTheNextCall) {
    EXPECT_EQ(askFor(std::string(120000, 'v')).result, 1);
    const Answer answer = askFor("short");
    EXPECT_EQ(answer.result, 0);
    EXPECT_EQ(answer.text(), responseWith("short", "B", "P", "000000"));
}

} // namespace
