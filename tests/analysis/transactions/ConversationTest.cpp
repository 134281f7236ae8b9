#include "tests/analysis/TransactionFixture.h"

#include <array>

namespace {

using testing::SizeIs;

/// Transactions with a terminal that remembers what it was told.
class Conversation : public TransactionTest {
protected:
    /// A host's buffers, filled with zeros as hosts do it.
    using Outputs = std::array<std::array<char, 1000>, 11>;
};

TEST_F(Conversation, FollowsAScanRun) {
    const std::string fetch = R"({"transCode":"600005","pdaNumber":"7"})";
    const std::string accepted = R"({"pRetCode":"000000","transCode":"600004"})";
    EXPECT_EQ(ask(R"({"transCode":"600004","pdaNumber":"7","pCmdType":"1"})"), (JsonAnswer{0, accepted}));
    EXPECT_TRUE(pda_ScanState);
    for (const char* label : {"A1", "B2"}) {
        const std::string text = terminal().announce(pdasim::scannedLabel(label));
        ASSERT_TRUE(becomesBuffered(QString::fromStdString(text)));
        EXPECT_EQ(analyser().ReceiveScanResult(HostText(text)), 0);
    }
    EXPECT_EQ(pda_ScanLabel[3], "B2");
    EXPECT_EQ(ask(fetch), (JsonAnswer{0, R"({"pLabelLen":3,"pLabelList":"A1;B2;","pLabelSize":3,)"
                                         R"("pScanState":"1","transCode":"600005"})"}));
    EXPECT_EQ(ask(R"({"transCode":"600004","pdaNumber":"7","pCmdType":"0"})"), (JsonAnswer{0, accepted}));
    EXPECT_EQ(pda_ScanLabel[3], "");
    EXPECT_EQ(ask(fetch), (JsonAnswer{0, R"({"pLabelLen":3,"pLabelList":"A1;B2;","pLabelSize":3,)"
                                         R"("pScanState":"0","transCode":"600005"})"}));
    EXPECT_FALSE(pda_ScanState);
}

TEST_F(Conversation, OpensLocksAndReadsTheResults) {
    terminal().changeState([](pdasim::TerminalState& state) {
        pdasim::Lock lock;
        lock.id = "L1";
        lock.battery = "90";
        state.locks = {lock};
    });
    Outputs x{};
    EXPECT_EQ(analyser().ReqOpenLock(HostText("2"), HostText("L1;L2;"), HostText("00;01;"),
                                     HostText("111111;222222;"), HostText("a1;a2;"), HostText("b1;b2;"),
                                     x[0].data(), x[1].data()),
              0);
    EXPECT_STREQ(x[0].data(), "0001") << "the number of the message that is answered";
    EXPECT_EQ(terminal().state().lockOperations.at(0).oneTimeCode, "111111");
    EXPECT_EQ(terminal().state().lockOperations.at(1).oneTimeCode, "");
    Outputs y{};
    EXPECT_EQ(analyser().ReadLockRes(y[0].data(), y[1].data(), y[2].data(), y[3].data(), y[4].data(),
                                     y[5].data(), y[6].data(), y[7].data(), y[8].data(), y[9].data(),
                                     y[10].data()),
              0);
    EXPECT_STREQ(y[0].data(), "0002");
    EXPECT_STREQ(y[2].data(), "2");
    EXPECT_STREQ(y[3].data(), "L1;L2;");
    EXPECT_STREQ(y[5].data(), "00;01;");
}

TEST_F(Conversation, LogsAUserIn) {
    const std::string notice = terminal().announce(pdasim::userNotice("Ann"));
    EXPECT_EQ(analyser().ReceiveRandomNumber(HostText(notice)), 0);
    const std::string login = terminal().announce(pdasim::loginRecord({"1", "Ann", "f", "r", "p", "m"}));
    EXPECT_EQ(analyser().ReceiveLoginData(HostText(login)), 0);
    Outputs x{};
    EXPECT_EQ(analyser().GetRandomNumber(x[0].data(), x[1].data()), 0);
    EXPECT_STREQ(x[1].data(), "Ann");
    EXPECT_EQ(analyser().GetLoginData(x[2].data(), x[3].data(), x[4].data(), x[5].data(), x[6].data(),
                                      x[7].data(), x[8].data()),
              0);
    EXPECT_STREQ(x[4].data(), "Ann");
    EXPECT_STREQ(x[8].data(), "m");
    EXPECT_EQ(analyser().SyncLoginResult(x[2].data(), HostText("000000")), 0);
    const auto results = terminal().acknowledgements();
    ASSERT_THAT(results, SizeIs(2));
    EXPECT_EQ(results.back().type, "9002");
    EXPECT_NE(results.back().answers, "");
}

} // namespace
