#include "PrivateDirectory.h"
#include "TestTerminal.h"
#include "analysis/PDAXMLAnalysis.h"
#include "analysis/ResultStores.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <climits>
#include <functional>
#include <string>
#include <utility>
#include <vector>

// What is read as JSON, whatever the transaction. That each transaction needs its members, in their types,
// and answers with its outputs is in transactions/.

namespace {

using namespace pdalink::test;

constexpr int kUntouchedLength = -7;

/// What a request brought: the result of the call and what is in the host's buffers.
struct Answer {
    bool untouched() const {
        return length == kUntouchedLength && bytes.find_first_not_of('#') == std::string::npos;
    }
    /// The response with its NUL is these bytes, and those behind it are still those of the host.
    bool isJust(const std::string& response) const {
        return length == static_cast<int>(response.size()) &&
               bytes.compare(0, response.size() + 1, response.c_str(), response.size() + 1) == 0 &&
               bytes.find_first_not_of('#', response.size() + 1) == std::string::npos;
    }

    std::string bytes = std::string(200000, '#');
    int length = kUntouchedLength;
    int result = -99;
};

class Dispatcher : public testing::Test {
protected:
    Answer ask(const std::string& request) {
        Answer answer;
        answer.result = m_analyser.PDA_CommonCall(request.c_str(), 5, answer.bytes.data(), &answer.length);
        return answer;
    }

    /// All entries logged since the last call of this, in the rotated files too, "level text".
    std::vector<std::string> newLines() {
        std::string log;
        for (const char* copy : {".5", ".4", ".3", ".2", ".1", ""}) {
            log += readFile(logPath() + copy);
        }
        std::vector<std::string> entries;
        for (const LogLine& line : parseLog(log)) {
            entries.push_back(std::to_string(line.level) + " " + line.text);
        }
        const std::size_t seen = std::exchange(m_seen, entries.size());
        entries.erase(entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(seen));
        return entries;
    }

    /// Checks that a request is refused with "{}" and the message, and all of its log lines; without a
    /// message, that it gets no answer at all.
    void expectRefused(const std::string& request, const std::string& message) {
        SCOPED_TRACE(request.substr(0, 100));
        newLines();
        const Answer answer = ask(request);
        EXPECT_EQ(answer.result, -1);
        std::vector<std::string> lines{"1 inJson4:" + request + " inLen:5"};
        if (message.empty()) {
            EXPECT_TRUE(answer.untouched());
        } else {
            EXPECT_TRUE(answer.isJust("{}"));
            lines.push_back("1 info msg:" + message);
            lines.emplace_back("1 outJson:{} outLen:2 ret:-1");
        }
        EXPECT_TRUE(newLines() == lines); // which may be too long to be printed
        EXPECT_EQ(m_SeqNo, 0) << "no message was built";
    }

private:
    CPDAXMLAnalysis m_analyser;
    std::size_t m_seen = 0;
};

struct Refused {
    const char* name;
    std::vector<std::string> requests;
    std::string message; ///< empty when there is no answer at all
};

const std::string kNoTransCode = "can not find transCode";
const std::string kNoText = "transCode: param name error";

std::string unknown(const std::string& code) {
    return "transCode:" + code + " do not have function";
}

std::string incomplete(const std::string& code) {
    return "transCode:" + code + " param name error";
}

const Refused kRefused[] = {
    {"without the word",
     {"", "{}", "no JSON", "{", R"({"transcode":"600002"})", R"({"TRANSCODE":"600002"})",
      R"({"trans":"Code"})", "[1,2]", "\xFF\xFE", R"({"trans\u0043ode":"600002"})"},
     kNoTransCode},
    {"no JSON",
     {"transCode", R"({"transCode")", R"({"transCode":)", R"({"transCode":"600002")",
      R"({"transCode":600002)", R"({transCode:"600002"})", "{'transCode':'600002'}", R"("transCode)",
      R"({"transCode"})"},
     ""},
    {"comments and trailing commas",
     {R"({"transCode":"700000",})", R"(/* */{"transCode":"700000"})", R"({"transCode":"700000"}//)",
      R"({"transCode":/**/"700000"})", R"({"transCode":"700000","x":[1,]})"},
     ""},
    {"something behind the object",
     {R"({"transCode":"700000"}x)", R"({"transCode":"700000"}{})", R"({"transCode":"700000"},)",
      R"({"transCode":"700000"}})"},
     ""},
    {"what other parsers accept",
     {R"({"transCode":"700000","x":NaN})", R"({"transCode":"700000","x":Infinity})",
      R"({"transCode":"700000","x":01})", R"({"transCode":"700000","x":+1})",
      R"({"transCode":"700000","x":.5})", R"({"transCode":"700000","x":1e999})",
      R"({"transCode":"700000","x":"\x"})", R"({"transCode":"700000","x":"\ud800"})",
      "{\"transCode\":\"700000\",\"x\":\"\n\"}", "\xEF\xBB\xBF\xEF\xBB\xBF{\"transCode\":\"700000\"}"},
     ""},
    {"the word elsewhere only",
     {R"({"a":{"transCode":"600002"}})", R"({"a":[{"transCode":"600002"}]})", R"({"a":"transCode"})",
      R"({"transCodes":"600002"})", R"({"xtransCode":"600002"})", R"({"transCode ":"600002"})",
      R"({"transCode\u0000":"600002"})"},
     ""},
    {"a root that is no object",
     {R"(["transCode"])", R"([{"transCode":"600002"}])", R"("transCode")", R"("transCode 600002")",
      R"(["transCode","600002"])"},
     ""},
    {"a code that is no text",
     {R"({"transCode":600002})", R"({"transCode":600002.0})", R"({"transCode":-1})", R"({"transCode":null})",
      R"({"transCode":true})", R"({"transCode":{}})", R"({"transCode":["600002"]})",
      R"({"transCode":{"transCode":"600002"}})", R"({"transCode":1,"transCode":"600002"})"},
     kNoText},
    {"an unknown code, in any form of JSON",
     {R"({"transCode":"700000"})", " \t\r\n{ \"transCode\" : \"700000\" } \n",
      "{\n  \"transCode\": \"700000\"\r\n}", R"({"trans\u0043ode":"700000","x":"transCode"})",
      R"({"transCode":"700000","transCode":"600002"})", R"({"transCode":"700000\u0000rest"})",
      R"({"a":null,"b":[1,-2.5e3,{"transCode":1}],"":{},"transCode":"700000","z":true})"},
     unknown("700000")},
    {"a known code with something around it", {R"({"transCode":"600002 "})"}, unknown("600002 ")},
    {"the code after the last",
     {R"({"transCode":"600020","pdaNumber":"1","pFactory":"2"})"},
     unknown("600020")},
    {"the code before the first", {R"({"transCode":"600000"})"}, unknown("600000")},
    {"full-width digits", {R"({"transCode":"６００００２"})"}, unknown("６００００２")},
    {"an empty code", {R"({"transCode":""})", R"({"transCode":"\u0000600002"})"}, unknown("")},
    {"an escaped code", {R"({"transCode":"7\u0030\"\u5f20"})"}, unknown("70\"张")},
    {"a format", {R"({"transCode":"%d%s%n","%s":"100%"})"}, unknown("%d%s%n")},
    {"a missing member",
     {R"({"transCode":"600001"})", R"({"transCode":"600001","pdanumber":"1","pFactory":"2"})",
      R"({"transCode":"600001","x":{"pdaNumber":"1","pFactory":"2"}})",
      R"({"transCode":"600001","pdaNumber":1,"pdaNumber":"1","pFactory":"2"})"},
     incomplete("600001")},
    {"a file to be sent without a member, or with one of another type",
     {R"({"transCode":"600015","pCmdEx":3,"pInfoEx":"i","pFilePath":"0123456789"})",
      R"({"transCode":"600015","pdaNumber":"7","pInfoEx":"i","pFilePath":"0123456789"})",
      R"({"transCode":"600015","pdaNumber":"7","pCmdEx":"3","pInfoEx":"i","pFilePath":"0123456789"})",
      R"({"transCode":"600015","pdaNumber":"7","pCmdEx":3,"pInfEx":"i","pFilePath":"0123456789"})",
      R"({"transCode":"600015","pdaNumber":"7","pCmdEx":3,"pInfoEx":"i"})"},
     incomplete("600015")},
    {"a file to be fetched without a member, or with one of another type",
     {R"({"transCode":"600016","pCmdEx":3,"pInfEx":"i"})",
      R"({"transCode":"600016","pdaNumber":"7","pInfEx":"i"})",
      R"({"transCode":"600016","pdaNumber":"7","pCmdEx":"3","pInfEx":"i"})",
      R"({"transCode":"600016","pdaNumber":"7","pCmdEx":3,"pInfoEx":"i"})"},
     incomplete("600016")},
};

TEST_F(Dispatcher, RefusesWhatIsNoRequestOfATransaction) {
    for (const Refused& each : kRefused) {
        SCOPED_TRACE(each.name);
        for (const std::string& request : each.requests) {
            expectRefused(request, each.message);
        }
    }
}

struct Inputs {
    const char* name;
    const char* request;
    const char* pdaNumber;
    const char* factory;
};

TEST_F(Dispatcher, ReadsTextsUpToANulTheFirstOfTwoAndEchoesTheCodeOnly) {
    TestTerminal terminal;
    for (const Inputs& each : {
             Inputs{"escapes and UTF-8", R"({"transCode":"600001","pdaNumber":"a\u5f20\tb","pFactory":"三"})",
                    "a张\tb", "三"},
             Inputs{"embedded NULs",
                    R"({"transCode":"600001\u0000x","pdaNumber":"12\u0000xy","pFactory":"\u0000"})", "12",
                    ""},
             Inputs{"bytes that are not UTF-8",
                    "{\"transCode\":\"600001\",\"pdaNumber\":\"a\xFFz\",\"pFactory\":\"5\"}",
                    "a\xEF\xBF\xBDz", "5"},
             Inputs{"two of a name",
                    R"({"pdaNumber":"12","pdaNumber":"3","pFactory":"5","transCode":"600001"})", "12", "5"},
         }) {
        SCOPED_TRACE(each.name);
        const Answer answer = ask(each.request);
        EXPECT_EQ(answer.result, 0);
        EXPECT_EQ(terminal.state().assignedNumber, each.pdaNumber);
        EXPECT_EQ(terminal.state().factory, each.factory);
        const pdasim::Identity identity;
        EXPECT_TRUE(answer.isJust(R"({"pRetCode":"000000","pSN":")" + identity.eimi + R"(","pVender":")" +
                                  identity.vendor + R"(","transCode":"600001"})"));
    }
    // The length field counts characters, as the protocol has it for its plain ASCII; here it is told off.
    terminal.takeViolations();
}

std::string repeated(const std::string& piece, std::size_t count) {
    std::string text;
    text.reserve(piece.size() * count);
    for (std::size_t i = 0; i < count; ++i) {
        text += piece;
    }
    return text;
}

TEST_F(Dispatcher, LogsRequestsOfTenMebibytesWhole) {
    constexpr std::size_t size = 10UL * 1024 * 1024;
    expectRefused(R"({"transCode":"700000","x":")" + std::string(size, 'x') + "\"}", unknown("700000"));
    expectRefused("transCode" + std::string(size, '{'), "");
    const std::string code(size, '7');
    expectRefused(R"({"transCode":")" + code + R"("})", unknown(code));
}

/// Runs a function on a thread with a small stack; the sanitizers need room of their own on it, and no
/// machine permits less than its least.
void runOnSmallStack(std::function<void()> function) {
    const long size = std::max<long>(PDALINK_IS_SANITIZED ? 1024 * 1024 : 96 * 1024, PTHREAD_STACK_MIN);
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, static_cast<std::size_t>(size)), 0);
    pthread_t thread{};
    const auto run = [](void* each) -> void* {
        (*static_cast<std::function<void()>*>(each))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, &function), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

TEST_F(Dispatcher, AnswersNestingOfAnyDepthOnASmallStack) {
    constexpr std::size_t depth = 1000000;
    const TestTerminal terminal;
    const std::string open = repeated("[", depth);
    const std::string brackets = open + repeated("]", depth);
    const std::string objects = repeated(R"({"x":)", depth) + "1" + repeated("}", depth);
    runOnSmallStack([&] {
        EXPECT_TRUE(ask(R"({"transCode":"700000","x":)" + brackets + "}").isJust("{}"));
        EXPECT_TRUE(ask(R"({"transCode":"700000","x":)" + objects + "}").isJust("{}"));
        EXPECT_TRUE(ask(R"({"transCode":"700000","x":)" + open).untouched());
        EXPECT_TRUE(ask(repeated(R"({"transCode":)", depth)).untouched());
        EXPECT_TRUE(ask(open + R"("transCode")" + repeated("]", depth)).untouched());
        EXPECT_EQ(ask(R"({"x":)" + brackets + R"(,"transCode":"600002"})").result, 0);
    });
}

} // namespace
