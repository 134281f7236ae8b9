#include "ExchangeFixture.h"

namespace {

using pdasim::Fault;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

pdasim::Identity someIdentity() {
    pdasim::Identity identity;
    identity.eimi = "358000000000001";
    identity.bleVersion = "ble 1";
    identity.pdaVersion = "pda 2";
    identity.vendor = "vendor 3";
    identity.returnCode = "000000";
    return identity;
}

/// The two transactions that identify the terminal.
class TerminalInfo : public OpenExchangeTest {
protected:
    void SetUp() override {
        OpenExchangeTest::SetUp();
        terminal().setIdentity(someIdentity());
    }
};

TEST_F(TerminalInfo, OfGetInfoIsIdentityBothVersionsAndTheCode) {
    EXPECT_EQ(getInfo(), (Information{0, "358000000000001", "ble 1", "pda 2", "000000"}));
}

TEST_F(TerminalInfo, OfInitIsIdentityVendorAndTheCode) {
    EXPECT_EQ(init(), (Initialisation{0, "358000000000001", "vendor 3", "000000"}));
}

TEST_F(TerminalInfo, OfInitHandsOverTheNumberAndTheFactory) {
    init("4711", "ACME");
    EXPECT_EQ(terminal().state().assignedNumber, "4711");
    EXPECT_EQ(terminal().state().factory, "ACME");
    EXPECT_EQ(newMessage().substr(10, 6), "QEV   ") << "the header's factory code is fixed";
}

TEST_F(TerminalInfo, OfGetInfoDoesNotDependOnTheOrderOfTheReply) {
    answerWith("8001", message("8001", tag("Ex_RetCode", "000000") + tag("Ex_PdaVer", "P") +
                                           tag("Ex_BleVer", "B") + tag("Ex_EIMI", "E")));
    EXPECT_EQ(getInfo(), (Information{0, "E", "B", "P", "000000"}));
}

TEST_F(TerminalInfo, OfInitDoesNotDependOnTheOrderOfTheReply) {
    answerWith("8002",
               message("8002", tag("Ex_RetCode", "000000") + tag("Ex_Vender", "V") + tag("Ex_EIMI", "E")));
    EXPECT_EQ(init(), (Initialisation{0, "E", "V", "000000"}));
}

TEST_F(TerminalInfo, OfInitIsNotTakenFromAReplyToGetInfo) {
    const std::string reply = informationReply({0, "1", "2", "3", "000000"});
    answerWith("8002", reply);
    EXPECT_EQ(init(), kNoInitialisation);
    EXPECT_THAT(newLogTexts(1), Contains("Read XML:" + reply + " ---Wrong Command --Delete"));
}

TEST_F(TerminalInfo, IsAnsweredInJson) {
    EXPECT_EQ(call(R"({"transCode":"600002"})"),
              R"({"pBleVersion":"ble 1","pPDAVersion":"pda 2","pRetCode":"000000",)"
              R"("pSN":"358000000000001","transCode":"600002"})");
    EXPECT_EQ(call(R"({"pFactory":"ACME","transCode":"600001","pdaNumber":"4711"})"),
              R"({"pRetCode":"000000","pSN":"358000000000001","pVender":"vendor 3","transCode":"600001"})");
    EXPECT_EQ(terminal().state().assignedNumber, "4711");
    EXPECT_EQ(terminal().state().factory, "ACME");
}

TEST_F(TerminalInfo, IsEmptyInJsonWhenNothingCouldBeSent) {
    terminal().addFault("8001", Fault().refuseWrite(5));
    EXPECT_EQ(call(R"({"transCode":"600002"})"),
              R"({"pBleVersion":"","pPDAVersion":"","pRetCode":"","pSN":"","transCode":"600002"})");
}

TEST_F(TerminalInfo, IsTheNoDataCodeInJsonWhenNoUsableReplyCame) {
    terminal().addFault("8001", Fault().replyType("8002"));
    EXPECT_EQ(call(R"({"transCode":"600002"})"),
              R"({"pBleVersion":"","pPDAVersion":"","pRetCode":"000060","pSN":"","transCode":"600002"})");
    terminal().addFault("8002", Fault().replyType("8001"));
    EXPECT_EQ(call(R"({"transCode":"600001","pdaNumber":"1","pFactory":"2"})"),
              R"({"pRetCode":"000060","pSN":"","pVender":"","transCode":"600001"})");
}

TEST_F(TerminalInfo, KeepsEscapesAndUtf8OnItsWayThroughJson) {
    pdasim::Identity identity = someIdentity();
    identity.eimi = "\"back\\slash\"\t终端";
    terminal().setIdentity(identity);
    EXPECT_THAT(call(R"({"transCode":"600001","pdaNumber":"\u0041\n<\"","pFactory":"a/b"})"),
                HasSubstr(R"("pSN":"\"back\\slash\"\t终端")"));
    EXPECT_EQ(terminal().state().assignedNumber, "A\n<\"");
    EXPECT_EQ(terminal().state().factory, "a/b");
}

TEST_F(TerminalInfo, OfARefusedRequestIsNotAskedFor) {
    EXPECT_EQ(call(R"({"transCode":"600001","pdaNumber":"1"})"), "{}");
    EXPECT_THAT(terminal().received(), IsEmpty());
    EXPECT_EQ(m_SeqNo, 0);
    EXPECT_EQ(m_PerformTasksYN, 0);
    EXPECT_THAT(newLogTexts(), Not(Contains("[Init] begin")));
}

} // namespace
