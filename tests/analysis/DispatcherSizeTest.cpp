#include "TestTerminal.h"
#include "tests/analysis/DispatcherFixture.h"

#include <pthread.h>

#include <functional>

namespace {

using namespace pdalink::test;

const std::string kGetInfo = R"({"transCode":"600002"})";

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
    const std::string request = R"({"transCode":"700000","x":")" + std::string(10 * 1024 * 1024, 'x') + "\"}";
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
    const std::string code(10 * 1024 * 1024, '7');
    EXPECT_EQ(ask(R"({"transCode":")" + code + R"("})").text(), "{}");
    const std::vector<LogLine> log = wholeLog();
    ASSERT_EQ(log.size(), 4U);
    EXPECT_TRUE(log[2].text == "info msg:transCode:" + code + " do not have function");
}

TEST_F(DispatcherSize, LogsALongTextThatIsNoJsonWhole) {
    const std::string request = "transCode" + std::string(10 * 1024 * 1024, '{');
    EXPECT_TRUE(ask(request).untouched());
    const std::vector<LogLine> log = wholeLog();
    ASSERT_EQ(log.size(), 2U);
    EXPECT_TRUE(log[1].text == "inJson4:" + request + " inLen:5");
}

TEST_F(DispatcherSize, FindsTheCodeBehindALongMember) {
    const TestTerminal terminal;
    const std::string request =
        R"({"x":")" + std::string(10 * 1024 * 1024, 'x') + R"(","transCode":"600002"})";
    EXPECT_EQ(ask(request).result, 0);
}

// ---- long results

/// Asks for the terminal's identity with these values in its first two tags.
class LongResult : public DispatcherSize {
protected:
    Answer askFor(const std::string& serialNumber, const std::string& bleVersion = "B") {
        const pdasim::Fault reply = pdasim::Fault()
                                        .setTag("Ex_EIMI", serialNumber)
                                        .setTag("Ex_BleVer", bleVersion)
                                        .setTag("Ex_PdaVer", "P");
        Answer answer = askOnce(reply);
        for (int attempt = 0; attempt < 10 && wasCutShort(answer); ++attempt) {
            answer = askOnce(reply);
        }
        return answer;
    }

    static std::string responseWith(const std::string& serialNumber, const std::string& bleVersion,
                                    const std::string& pdaVersion, const std::string& returnCode) {
        return R"({"pBleVersion":")" + bleVersion + R"(","pPDAVersion":")" + pdaVersion +
               R"(","pRetCode":")" + returnCode + R"(","pSN":")" + serialNumber +
               R"(","transCode":"600002"})";
    }

    static int warnings() { return static_cast<int>(readLogTexts(3).size()); }

private:
    Answer askOnce(pdasim::Fault reply) {
        m_terminal.addFault("8001", reply);
        return ask(kGetInfo);
    }

    /// On a busy machine a reply of this length may take longer than the library waits for the rest of it.
    static bool wasCutShort(const Answer& answer) {
        return answer.result == 2 ||
               (answer.result == 0 && answer.text().find(R"("pRetCode":"000000")") == std::string::npos);
    }

    /// Its reports are long ones, so that such a reply comes within the time that the library gives it.
    static pdasim::SimulatedTerminal::Options longReports() {
        pdasim::SimulatedTerminal::Options options;
        options.reportSize = 4096;
        return options;
    }

    TestTerminal m_terminal{longReports()};
};

/// The length of a serial number that makes the response with its NUL exactly so long.
std::size_t fillTo(std::size_t responseWithNul) {
    const std::string rest =
        R"({"pBleVersion":"B","pPDAVersion":"P","pRetCode":"000000","pSN":"","transCode":"600002"})";
    return responseWithNul - 1 - rest.size();
}

TEST_F(LongResult, OneByteBelowABufferIsReturnedWhole) {
    const std::string value(4999, 'v');
    const Answer answer = askFor(value);
    EXPECT_EQ(answer.result, 0);
    EXPECT_EQ(answer.text(), responseWith(value, "B", "P", "000000"));
}

TEST_F(LongResult, OfABufferOrMoreIsReturnedWhole) {
    for (const std::size_t length : {5000U, 5001U, 50000U}) {
        const std::string value(length, 'v');
        const Answer answer = askFor(value);
        EXPECT_EQ(answer.result, 0);
        EXPECT_EQ(answer.text(), responseWith(value, "B", "P", "000000"));
    }
    EXPECT_EQ(warnings(), 0);
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
    const Answer answer = askFor(std::string(fillTo(115001), 'v'));
    EXPECT_EQ(answer.result, 1);
    EXPECT_EQ(answer.text(), responseWith("", "", "", ""));
    const std::vector<std::string> warnings = readLogTexts(3);
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_NE(warnings[0].find("pSN"), std::string::npos) << warnings[0];
    EXPECT_EQ(readLogTexts(1).back(),
              "outJson:" + answer.text() + " outLen:" + std::to_string(answer.length) + " ret:1");
}

TEST_F(LongResult, LeavesShorterOutputsBeforeItInPlace) {
    const Answer answer = askFor("short", std::string(120000, 'v'));
    EXPECT_EQ(answer.result, 1);
    EXPECT_EQ(answer.text(), responseWith("short", "", "", ""));
    const std::vector<std::string> warnings = readLogTexts(3);
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_NE(warnings[0].find("pBleVersion"), std::string::npos) << warnings[0];
}

TEST_F(LongResult, OfTwoTheFirstOneCounts) {
    const Answer answer = askFor(std::string(60000, 'v'), std::string(60000, 'w'));
    EXPECT_EQ(answer.result, 1);
    EXPECT_EQ(answer.text(), responseWith("", "", "", ""));
}

TEST_F(LongResult, CountsWithItsEscapes) {
    const std::string quotes(57600, '"'); // two bytes each in the response
    const Answer answer = askFor(quotes);
    EXPECT_EQ(answer.result, 1);
    EXPECT_EQ(answer.text(), responseWith("", "", "", ""));
}

TEST_F(LongResult, DoesNotConcernTheNextCall) {
    EXPECT_EQ(askFor(std::string(120000, 'v')).result, 1);
    const Answer answer = askFor("short");
    EXPECT_EQ(answer.result, 0);
    EXPECT_EQ(answer.text(), responseWith("short", "B", "P", "000000"));
}

} // namespace
