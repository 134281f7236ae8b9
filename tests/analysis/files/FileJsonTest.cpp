#include "FileFixture.h"

#include <cerrno>

namespace {

using pdasim::Fault;
using testing::IsEmpty;

/// Files through the JSON, with a terminal that keeps what is sent to it and sends what it keeps.
class FileJson : public FileTest {
protected:
    static constexpr int kCommand = 3;

    JsonAnswer sendAsJson(const std::string& text) {
        return ask(R"({"transCode":"600015","pdaNumber":"00000007","pCmdEx":3,"pInfoEx":"about it",)"
                   R"("pFilePath":")" +
                   text + R"("})");
    }
    JsonAnswer fetchAsJson() {
        return ask(R"({"transCode":"600016","pdaNumber":"00000007","pCmdEx":3,"pInfEx":"about it"})");
    }
    void keep(const std::string& text) {
        terminal().changeState([&](pdasim::TerminalState& state) { state.files.offered[kCommand] = text; });
    }

    static std::string sent(const std::string& retCode) {
        return R"({"pRetCode":")" + retCode + R"(","transCode":"600015"})";
    }
    static std::string fetched(const std::string& text, const std::string& retCode) {
        return R"({"pFilePath":")" + text + R"(","pRetCode":")" + retCode + R"(","transCode":"600016"})";
    }
};

TEST_F(FileJson, SendsAFile) {
    const std::string text = digits(6010);
    EXPECT_EQ(sendAsJson(text), (JsonAnswer{0, sent("000000")}));
    const pdasim::TerminalState state = terminal().state();
    ASSERT_EQ(state.files.sent.count(kCommand), 1U);
    EXPECT_TRUE(state.files.sent.at(kCommand).isComplete());
    EXPECT_EQ(state.files.sent.at(kCommand).text(), text);
    EXPECT_EQ(state.files.sent.at(kCommand).info, "about it");
    EXPECT_EQ(newBodies().at(2), sendBody(text.substr(6000), 3, 2));
}

TEST_F(FileJson, FetchesAFile) {
    EXPECT_EQ(fetchAsJson(), (JsonAnswer{0, fetched("", pdasim::code::UnknownFile)}));
    newBodies();
    const std::string text = digits(6010);
    keep(text);
    EXPECT_EQ(fetchAsJson(), (JsonAnswer{0, fetched(text, "000000")}));
    EXPECT_THAT(newBodies(), testing::ElementsAre(fetchBody(0), fetchBody(1), fetchBody(2)));
}

TEST_F(FileJson, FetchesAFileOverADisturbedLine) {
    const std::string text = digits(6010);
    keep(text);
    terminal().addFault("8016", Fault().wrongCheck());
    terminal().addFault("8016", Fault().replyType("8001"));
    terminal().addFault("8016", Fault().wrongCheck().times(2));
    EXPECT_EQ(fetchAsJson(), (JsonAnswer{0, fetched(text, "000000")}));
}

TEST_F(FileJson, RefusesAFileThatIsTooShort) {
    EXPECT_EQ(sendAsJson("123456789"), (JsonAnswer{5, sent("")}));
    EXPECT_EQ(sendAsJson(""), (JsonAnswer{5, sent("")}));
    EXPECT_THAT(newBodies(), IsEmpty());
}

TEST_F(FileJson, TellsOfRefusals) {
    terminal().addFault("8015", Fault().refuse("000017"));
    EXPECT_EQ(sendAsJson("0123456789"), (JsonAnswer{0, sent("000017")}));
    terminal().addFault("8015", Fault().refuse("000017").times(3));
    EXPECT_EQ(sendAsJson(digits(6010)), (JsonAnswer{6, sent("000017")}));
}

TEST_F(FileJson, TellsOfAMissingReplyInOneDirectionOnly) {
    terminal().addFault("8015", Fault().replyType("8001"));
    EXPECT_EQ(sendAsJson("0123456789"), (JsonAnswer{2, sent("000060")}));
    keep("3132");
    terminal().addFault("8016", Fault().replyType("8001").times(3));
    EXPECT_EQ(fetchAsJson(), (JsonAnswer{2, fetched("", "")}));
}

TEST_F(FileJson, TellsOfAWriteThatFails) {
    terminal().addFault("8015", Fault().refuseWrite(EIO));
    EXPECT_EQ(sendAsJson("0123456789"), (JsonAnswer{-1, sent("")}));
    EXPECT_EQ(m_PerformTasksYN, 1);
    terminal().addFault("8016", Fault().refuseWrite(EIO));
    EXPECT_EQ(fetchAsJson(), (JsonAnswer{-1, fetched("", "")}));
    EXPECT_EQ(m_PerformTasksYN, 1);
}

TEST_F(FileJson, EscapesWhatItFetches) {
    offer(1, 0, "\"\\\n\x01");
    EXPECT_EQ(fetchAsJson(), (JsonAnswer{0, fetched(R"(\"\\\n\u0001)", "000000")}));
}

TEST_F(FileJson, FailsWithAFileThatDoesNotFitIntoTheHostsBuffer) {
    const SwiftReplies swift;
    std::size_t most = 115000 - 1 - fetched("", "000000").size();
    keep(digits(most));
    EXPECT_EQ(fetchAsJson(), (JsonAnswer{0, fetched(digits(most), "000000")}));
    EXPECT_EQ(warnings(), 0U);
    most += std::string("000000").size(); // the result code does not fit after it
    keep(digits(most));
    EXPECT_EQ(fetchAsJson(), (JsonAnswer{1, fetched(digits(most), "")}));
    EXPECT_EQ(warnings(), 1U);
    keep(digits(most + 1));
    EXPECT_EQ(fetchAsJson(), (JsonAnswer{1, fetched("", "")}));
    EXPECT_EQ(warnings(), 2U);
}

} // namespace
