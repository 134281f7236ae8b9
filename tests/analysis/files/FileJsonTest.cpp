#include "FileFixture.h"

namespace {

using testing::ElementsAre;

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
    EXPECT_EQ(sendAsJson("123456789"), (JsonAnswer{5, sent("")}));
    terminal().addFault("8015", pdasim::Fault().refuse("000017").times(3));
    EXPECT_EQ(sendAsJson(text), (JsonAnswer{6, sent("000017")}));
    terminal().addFault("8015", pdasim::Fault().replyType("8001"));
    EXPECT_EQ(sendAsJson(text), (JsonAnswer{2, sent("000060")}));
    refuse("1234567890");
    EXPECT_EQ(sendAsJson(digits(3010)), (JsonAnswer{0, sent("0000007890")})) << "each over the one before";
}

TEST_F(FileJson, FetchesAFile) {
    EXPECT_EQ(fetchAsJson(), (JsonAnswer{0, fetched("", pdasim::code::UnknownFile)}));
    newBodies();
    const std::string text = digits(6010);
    keep(text);
    EXPECT_EQ(fetchAsJson(), (JsonAnswer{0, fetched(text, "000000")}));
    EXPECT_THAT(newBodies(), ElementsAre(fetchBody(0), fetchBody(1), fetchBody(2)));
    terminal().addFault("8016", pdasim::Fault().wrongCheck());
    terminal().addFault("8016", pdasim::Fault().replyType("8001"));
    terminal().addFault("8016", pdasim::Fault().wrongCheck().times(2));
    EXPECT_EQ(fetchAsJson(), (JsonAnswer{0, fetched(text, "000000")})) << "over a disturbed line";
    terminal().addFault("8016", pdasim::Fault().replyType("8001").times(3));
    EXPECT_EQ(fetchAsJson(), (JsonAnswer{2, fetched("", "")}));
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
