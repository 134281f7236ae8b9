#include "TransactionFixture.h"

#include <array>

namespace {

using testing::ElementsAre;

/// Transactions with a terminal that remembers what it was told.
class Conversation : public TransactionTest {
protected:
    /// A host's buffers, filled with zeros as hosts do it.
    using Outputs = std::array<std::array<char, 1000>, 23>;

    void change(const std::function<void(pdasim::TerminalState&)>& action) { terminal().changeState(action); }
};

TEST_F(Conversation, WritesBagLabels) {
    EXPECT_EQ(ask(R"({"transCode":"600003","pBagNumber":"B1","pAttrOrg":"O","pBagType":"T"})"),
              (JsonAnswer{0, R"({"pRetCode":"000000","pTid":"TID0001","transCode":"600003"})"}));
    const std::vector<pdasim::WrittenLabel> written = terminal().state().writtenLabels;
    ASSERT_EQ(written.size(), 1U);
    EXPECT_EQ(written[0].label, "B1");
    EXPECT_EQ(written[0].organisation, "O");
    EXPECT_EQ(written[0].bagType, "T");
}

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

TEST_F(Conversation, HandsOverAnInventoryAndItsResult) {
    EXPECT_EQ(ask(R"({"transCode":"600006","pdaNumber":"7","pTaskID":"T","pTotal":2,"pLabelList":"A;B;"})"),
              (JsonAnswer{0, R"({"pRetCode":"000000","transCode":"600006"})"}));
    EXPECT_EQ(terminal().state().inventory.task.labels, "A;B;");
    EXPECT_EQ(terminal().state().inventory.task.total, "2");
    change([](pdasim::TerminalState& state) {
        state.inventory.result.taskId = "T";
        state.inventory.result.labels = {"A"};
        state.inventory.result.errorLabels = {"B"};
        state.inventory.result.confirmation = {"l", "n", "f", "r", "p", "m"};
        state.inventory.result.state = "1";
    });
    EXPECT_EQ(ask(R"({"transCode":"600007","pdaNumber":"7"})"),
              (JsonAnswer{0, R"({"pErrLabel":"B;","pFigData":"f","pLabelList":"A;","pLabelSize":2,)"
                             R"("pLoginType":"l","pMacChkVal":"m","pRnd":"r","pScanState":"1","pTaskID":"T",)"
                             R"("pUserName":"n","pUserPwd":"p","pVerificationType":"0",)"
                             R"("transCode":"600007"})"}));
}

TEST_F(Conversation, FollowsADotHandover) {
    const std::string query = R"({"transCode":"600009","pdaNumber":"7","pTaskID":"T"})";
    EXPECT_EQ(ask(R"({"transCode":"600008","pdaNumber":"7","pTaskID":"T","pTaskType":1,"pRoad":"R",)"
                  R"("pExcgTime":"Z","pOrgNum":"O","pOrgNm":"N","pTotal":1,"pLabel":"A;","pAName":"Ann",)"
                  R"("pBName":"Bob"})")
                  .result,
              0);
    EXPECT_EQ(ask(query).result, 0);
    EXPECT_FALSE(pda_HandoverDotState) << "it is still under way";
    change([](pdasim::TerminalState& state) {
        state.dotHandovers["T"].result.state = "1";
        state.dotHandovers["T"].result.parties[1].name = "Bob";
    });
    const JsonAnswer answer = ask(query);
    EXPECT_NE(answer.text.find(R"("pBName":"Bob")"), std::string::npos) << answer.text;
    EXPECT_NE(answer.text.find(R"("pRoad":"R")"), std::string::npos) << answer.text;
    EXPECT_TRUE(pda_HandoverDotState);
}

TEST_F(Conversation, FollowsAPowerHandover) {
    const std::string query = R"({"transCode":"600011","pdaNumber":"7","pTaskID":"T"})";
    EXPECT_EQ(ask(R"({"transCode":"600010","pdaNumber":"7","pTaskID":"T","pOrgNb":"O","pTime":"Z",)"
                  R"("pOrgNm":"N","pBatchNb":"N-5","pTotal":1,"pLabel":"A;","pBagNumber":""})")
                  .result,
              0);
    EXPECT_EQ(terminal().state().powerHandovers.at("T").task.batch, "N-5");
    change([](pdasim::TerminalState& state) { state.powerHandovers["T"].result.state = "1"; });
    const JsonAnswer answer = ask(query);
    EXPECT_NE(answer.text.find(R"({"BatchNb":"N-5")"), std::string::npos) << answer.text;
    EXPECT_TRUE(pda_HandoverPowerState);
}

TEST_F(Conversation, LoadsAndReplacesKeys) {
    EXPECT_EQ(ask(R"({"transCode":"600013","pdaNumber":"7"})"),
              (JsonAnswer{0, R"({"pCheckVal":"","pRetCode":"000002","transCode":"600013"})"}));
    ask(R"({"transCode":"600012","pdaNumber":"7","pKey":"K","CheckVal":"C"})");
    EXPECT_EQ(ask(R"({"transCode":"600013","pdaNumber":"7"})"),
              (JsonAnswer{0, R"({"pCheckVal":"C","pRetCode":"000000","transCode":"600013"})"}));
    ask(R"({"transCode":"600014","pdaNumber":"7","pEncKey":"E","pMacKey":"M","pEncChkVal":"EC","pMacChkVal":"MC"})");
    const pdasim::Keys keys = terminal().state().keys;
    ASSERT_TRUE(keys.encryption && keys.mac);
    EXPECT_EQ(keys.encryption->value, "E");
    EXPECT_EQ(keys.encryption->checkValue, "EC");
    EXPECT_EQ(keys.mac->value, "M");
    EXPECT_EQ(keys.mac->checkValue, "MC");
}

TEST_F(Conversation, ExchangesTellers) {
    change([](pdasim::TerminalState& state) { state.tellers.registered = "0815"; });
    EXPECT_EQ(ask(R"({"transCode":"600017","pdaNumber":"7"})"),
              (JsonAnswer{1, R"({"pRetCode":"000000","pTellerNo":"0815","transCode":"600017"})"}));
    EXPECT_EQ(ask(R"({"transCode":"600018","pdaNumber":"7","pAuthRet":"1,ok;2,no;"})").result, 1);
    EXPECT_EQ(ask(R"({"transCode":"600019","pdaNumber":"7","pTellerNo":"1;2;3;"})").result, 1);
    EXPECT_THAT(terminal().state().tellers.authenticationResults, ElementsAre("1,ok", "2,no"));
    EXPECT_THAT(terminal().state().tellers.escorts, ElementsAre("1", "2", "3"));
}

TEST_F(Conversation, OpensLocksAndReadsTheResults) {
    change([](pdasim::TerminalState& state) {
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
    EXPECT_STREQ(y[4].data(), "00;01;");
    EXPECT_STREQ(y[5].data(), "00;01;");
    EXPECT_STREQ(y[6].data(), "a1;a2;");
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
    ASSERT_EQ(results.size(), 2U);
    EXPECT_EQ(results.back().type, "9002");
    EXPECT_NE(results.back().answers, "");
}

} // namespace
