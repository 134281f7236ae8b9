#include "TransactionFixture.h"

namespace {

using pdasim::Fault;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const std::string kNul(1, '\0');

/// Tellers between host and terminal.
class Tellers : public TransactionTest {
protected:
    struct Registered {
        int result;
        std::string tellerNo;
        std::string retCode;

        bool operator==(const Registered& other) const {
            return result == other.result && tellerNo == other.tellerNo && retCode == other.retCode;
        }
        friend void PrintTo(const Registered& each, std::ostream* stream) {
            *stream << each.result << " \"" << each.tellerNo << "\" \"" << each.retCode << '"';
        }
    };

    Registered registered() {
        OutputBuffer tellerNo;
        OutputBuffer retCode;
        const int result = analyser().PDA_GetRegisterUserData(HostText("7"), tellerNo.data(), retCode.data());
        return {result, tellerNo.written(), retCode.written()};
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
    answer("8017", tag("Ex_RetCode", "000000") + tag("Ex_TellerNo", "9876"));
    EXPECT_EQ(registered(), (Registered{1, "9876" + kNul, "000000" + kNul}));
    for (const char* code : {"000001", "00000", "0000000", "0"}) {
        answer("8017", tag("Ex_RetCode", code) + tag("Ex_TellerNo", "9876"));
        EXPECT_EQ(registered(), (Registered{1, "", code + kNul}));
    }
}

TEST_F(Tellers, WithoutANumberGiveAnEmptyText) {
    answer("8017", tag("Ex_RetCode", "000000"));
    EXPECT_EQ(registered(), (Registered{1, kNul, "000000" + kNul}));
}

TEST_F(Tellers, WithoutACodeGiveAnEmptyTextForIt) {
    answer("8017", tag("Ex_TellerNo", "9876"));
    EXPECT_EQ(registered(), (Registered{1, "", kNul}));
}

TEST_F(Tellers, ThatTimeOutGiveACodeWithoutANul) {
    answerWith("8017", reply("8018", tag("Ex_RetCode", "000000")));
    EXPECT_EQ(registered(), (Registered{-1, "", "000060"}));
}

TEST_F(Tellers, ThatCannotBeSentGiveNoCode) {
    terminal().addFault("8017", Fault().refuseWrite(5));
    EXPECT_EQ(registered(), (Registered{-1, "", ""}));
    EXPECT_EQ(m_PerformTasksYN, 1);
}

TEST_F(Tellers, AreWaitedForOnce) {
    terminal().addFault("8019", Fault().silence());
    OutputBuffer retCode;
    const Milliseconds time = timeOf(
        [&] { EXPECT_EQ(analyser().PDA_EscortUserInfoSync(HostText("7"), "1;", retCode.data()), -1); });
    EXPECT_GE(time, kSilentWait);
    EXPECT_LT(time, 2 * kSilentWait);
    EXPECT_EQ(retCode.written(), "000060");
    EXPECT_EQ(m_PerformTasksYN, 1);
}

TEST_F(Tellers, SkipSingleNullOutputs) {
    OutputBuffer retCode;
    answer("8017", tag("Ex_RetCode", "000000") + tag("Ex_TellerNo", "9876"));
    EXPECT_EQ(analyser().PDA_GetRegisterUserData(HostText("7"), nullptr, retCode.data()), 1);
    EXPECT_EQ(retCode.written(), "000000" + kNul);
    OutputBuffer tellerNo;
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
}

TEST_F(Tellers, AreCountedInThousands) {
    std::string list;
    for (int i = 0; i < 5000; ++i) {
        list += "1;";
    }
    EXPECT_THAT(escortBody(list), HasSubstr("<Ex_Total>5000</Ex_Total>"));
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

TEST_F(Tellers, AreLoggedInThreeWays) {
    const std::string code = tag("Ex_RetCode", "000017");
    answer("8017", code);
    analyser().PDA_GetRegisterUserData(HostText("7"), nullptr, nullptr);
    EXPECT_EQ(newLines().back(), "1 [get PDA register usr info]: 000017");
    answer("8018", code);
    analyser().PDA_SendUserAuthenticationResult(HostText("7"), "", nullptr);
    EXPECT_EQ(newLines().back(), "1 [PDA_SendUserAuthenticationResult] ret: 000017");
    answer("8019", code);
    analyser().PDA_EscortUserInfoSync(HostText("7"), "", nullptr);
    EXPECT_EQ(newLines().back(), "1 [PDA_EscortUserInfoSync] ret: 000017");
}

TEST_F(Tellers, AreMissedInThreeWays) {
    const auto answerWrongly = [this](const char* type) { answerWith(type, reply("8001", "")); };
    answerWrongly("8017");
    analyser().PDA_GetRegisterUserData(HostText("7"), nullptr, nullptr);
    EXPECT_EQ(newLines().back(), "1 Read XML: time out ");
    answerWrongly("8018");
    analyser().PDA_SendUserAuthenticationResult(HostText("7"), "", nullptr);
    EXPECT_EQ(newLines().back(), "1 Read XML time out:");
    answerWrongly("8019");
    analyser().PDA_EscortUserInfoSync(HostText("7"), "", nullptr);
    EXPECT_EQ(newLines().back(), "1 Read XML time out: ");
}

TEST_F(Tellers, AreNotAnnouncedInTheLog) {
    escortBody("1;");
    authenticationBody("1;");
    answer("8017", "");
    registered();
    EXPECT_THAT(newLines(), Not(Contains(HasSubstr("SendData pre"))));
}

TEST_F(Tellers, SucceedInJsonWithOne) {
    answer("8017", tag("Ex_RetCode", "000000") + tag("Ex_TellerNo", "9876"));
    EXPECT_EQ(ask(R"({"transCode":"600017","pdaNumber":"7"})"),
              (JsonAnswer{1, R"({"pRetCode":"000000","pTellerNo":"9876","transCode":"600017"})"}));
}

TEST_F(Tellers, WithoutTheirListAreRefusedInJson) {
    EXPECT_EQ(ask(R"({"transCode":"600019","pdaNumber":"7"})"), (JsonAnswer{-1, "{}"}));
    EXPECT_THAT(newLines(),
                ElementsAre(testing::StartsWith("1 inJson4:"), "1 info msg:transCode:600019 param name error",
                            "1 outJson:{} outLen:2 ret:-1"));
    EXPECT_THAT(terminal().received(), IsEmpty());
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
