#pragma once

#include "PrivateDirectory.h"
#include "analysis/PDAXMLAnalysis.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

inline const std::string kGetInfo = R"({"transCode":"600002"})";

/// What a request brought: the result of the call and what is in the host's buffers.
struct Answer {
    bool untouched() const {
        return length == kUntouchedLength && bytes.find_first_not_of('#') == std::string::npos;
    }
    /// The response up to its NUL.
    std::string text() const { return bytes.c_str(); } // NOLINT(readability-redundant-string-cstr)
    /// The bytes behind the response's NUL are still those of the host.
    bool restUntouched() const {
        return bytes.find_first_not_of('#', text().size() + 1) == std::string::npos;
    }

    static constexpr int kUntouchedLength = -7;

    std::string bytes = std::string(200000, '#');
    int length = kUntouchedLength;
    int result = -99;
};

/// Makes requests of the library and reads the lines that they leave in the log.
class DispatcherTest : public testing::Test {
protected:
    Answer ask(const std::string& request, int givenLength = 5) {
        Answer answer;
        answer.result =
            m_analyser.PDA_CommonCall(request.c_str(), givenLength, answer.bytes.data(), &answer.length);
        return answer;
    }

    /// The log's entries since the analyser was made, "level text".
    static std::vector<std::string> logged() {
        std::vector<std::string> entries;
        for (const pdalink::test::LogLine& line : pdalink::test::readLog()) {
            entries.push_back(std::to_string(line.level) + " " + line.text);
        }
        if (!entries.empty()) {
            entries.erase(entries.begin()); // the configuration's line
        }
        return entries;
    }

    static std::string requestLine(const std::string& request) { return "1 inJson4:" + request + " inLen:5"; }

    /// Checks that a request is refused with "{}" and the message, and all of its log lines.
    void expectRefused(const std::string& request, const std::string& message) {
        const std::size_t before = logged().size();
        const Answer answer = ask(request);
        EXPECT_EQ(answer.result, -1) << request;
        EXPECT_EQ(answer.text(), "{}") << request;
        EXPECT_EQ(answer.length, 2) << request;
        EXPECT_TRUE(answer.restUntouched()) << request;
        expectLoggedSince(before,
                          {requestLine(request), "1 info msg:" + message, "1 outJson:{} outLen:2 ret:-1"});
    }

    /// Checks that a request gets no answer at all.
    void expectUnanswered(const std::string& request) {
        const std::size_t before = logged().size();
        const Answer answer = ask(request);
        EXPECT_EQ(answer.result, -1) << request;
        EXPECT_TRUE(answer.untouched()) << request;
        expectLoggedSince(before, {requestLine(request)});
    }

private:
    static void expectLoggedSince(std::size_t before, const std::vector<std::string>& expected) {
        std::vector<std::string> entries = logged();
        ASSERT_GE(entries.size(), before);
        entries.erase(entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(before));
        EXPECT_EQ(entries, expected);
    }

    CPDAXMLAnalysis m_analyser;
};
