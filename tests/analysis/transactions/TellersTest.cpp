#include "TransactionFixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const std::string kNul(1, '\0');

/// Tellers between host and terminal.
class Tellers : public TransactionTest {
protected:
    /// Asks for the teller and expects the result 1 and these outputs.
    void expectRegistered(const std::string& tags, const std::string& tellerNo, const std::string& retCode) {
        answer("8017", tags);
        OutputBuffer number;
        OutputBuffer code;
        EXPECT_EQ(analyser().PDA_GetRegisterUserData(HostText("7"), number.data(), code.data()), 1);
        EXPECT_EQ(number.written(), tellerNo);
        EXPECT_EQ(code.written(), retCode);
    }
    /// The total and the list that are sent for a list of the host's.
    std::string authenticationBody(const std::string& list) {
        answer("8018", tag("Ex_RetCode", "000000"));
        EXPECT_EQ(analyser().PDA_SendUserAuthenticationResult(HostText("7"), list.c_str(), nullptr), 1);
        return newBody();
    }
    std::string escortBody(const std::string& list) {
        answer("8019", tag("Ex_RetCode", "000000"));
        EXPECT_EQ(analyser().PDA_EscortUserInfoSync(HostText("7"), list.c_str(), nullptr), 1);
        return newBody();
    }
};

TEST_F(Tellers, ComeWithSuccessOnly) {
    const std::string teller = tag("Ex_TellerNo", "9876");
    expectRegistered(tag("Ex_RetCode", "000000") + teller, "9876" + kNul, "000000" + kNul);
    for (const char* code : {"000001", "00000", "0000000", "0"}) {
        expectRegistered(tag("Ex_RetCode", code) + teller, "", code + kNul);
    }
    expectRegistered(tag("Ex_RetCode", "000000"), kNul, "000000" + kNul);
    expectRegistered(teller, "", kNul);
}

TEST_F(Tellers, SkipSingleNullOutputs) {
    OutputBuffer retCode;
    OutputBuffer tellerNo;
    answer("8017", tag("Ex_RetCode", "000000") + tag("Ex_TellerNo", "9876"));
    EXPECT_EQ(analyser().PDA_GetRegisterUserData(HostText("7"), nullptr, retCode.data()), 1);
    EXPECT_EQ(retCode.written(), "000000" + kNul);
    answer("8017", tag("Ex_RetCode", "000000") + tag("Ex_TellerNo", "9876"));
    EXPECT_EQ(analyser().PDA_GetRegisterUserData(HostText("7"), tellerNo.data(), nullptr), 1);
    EXPECT_EQ(tellerNo.written(), "9876" + kNul);
}

TEST_F(Tellers, AreCountedByTheirSemicolons) {
    struct List {
        const char* text;
        const char* total;
    };
    for (const List& list : {List{"a;b;", "2"}, List{"a;b;c;", "3"}, List{"a;b;c", "2"}, List{"a", "0"},
                             List{"", "0"}, List{";", "0"}, List{";;a;;b;;", "2"}, List{" ; ;", "2"},
                             List{"a；b；", "0"}, List{"终端;é;", "2"}}) {
        const std::string total =
            std::string("<Ex_PdaSn>7</Ex_PdaSn><Ex_Total>") + list.total + "</Ex_Total>";
        EXPECT_EQ(authenticationBody(list.text), total + tag("Ex_AuthRet", list.text));
        EXPECT_EQ(escortBody(list.text), total + tag("Ex_TellerNo", list.text));
    }
    std::string thousands;
    for (int i = 0; i < 5000; ++i) {
        thousands += "1;";
    }
    EXPECT_THAT(escortBody(thousands), HasSubstr("<Ex_Total>5000</Ex_Total>"));
}

TEST_F(Tellers, LeaveTheTaskFlagUpUntilAnotherTransaction) {
    EXPECT_EQ(m_PerformTasksYN, 0);
    escortBody("1;");
    EXPECT_EQ(m_PerformTasksYN, 1);
    authenticationBody("1;");
    EXPECT_EQ(m_PerformTasksYN, 1);
    EXPECT_EQ(getInfo().result, 0);
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(Tellers, OfMoreThanAHostsBufferFailInJson) {
    answerAtLength("8017", tag("Ex_RetCode", "000000") + tag("Ex_TellerNo", std::string(115000, '9')));
    EXPECT_EQ(ask(R"({"transCode":"600017","pdaNumber":"7"})"),
              (JsonAnswer{-1, R"({"pRetCode":"","pTellerNo":"","transCode":"600017"})"}));
    EXPECT_THAT(newLogTexts(3), ElementsAre(HasSubstr("pTellerNo")));
    EXPECT_EQ(m_PerformTasksYN, 1);
}

TEST_F(Tellers, OfLessThanAHostsBufferSucceedInJson) {
    const std::string tellerNo(110000, '9');
    answerAtLength("8017", tag("Ex_RetCode", "000000") + tag("Ex_TellerNo", tellerNo));
    EXPECT_TRUE(
        ask(R"({"transCode":"600017","pdaNumber":"7"})") ==
        (JsonAnswer{1, R"({"pRetCode":"000000","pTellerNo":")" + tellerNo + R"(","transCode":"600017"})"}));
}

} // namespace
