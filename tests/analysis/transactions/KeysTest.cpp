#include "TransactionFixture.h"

namespace {

using testing::Contains;

/// Keys between host and terminal.
using Keys = TransactionTest;

TEST_F(Keys, CheckValueIsAskedForWithTheTerminalsNumberOnly) {
    answer("8013", tag("Ex_CheckVal", "AB") + tag("Ex_RetCode", "000000"));
    analyser().GetKeyVerificationValue(HostText("7"), nullptr, nullptr);
    EXPECT_EQ(newMaskedMessage(), maskedMessage("8013", "0001", "<Ex_PdaSn>7</Ex_PdaSn>"));
}

TEST_F(Keys, ThatAreEmptyHaveTheirTagsAllTheSame) {
    answer("8014", tag("Ex_RetCode", "000000"));
    analyser().UpdateWorkKey(HostText("7"), HostText(""), HostText(""), HostText(""), HostText(""), nullptr);
    EXPECT_EQ(newBody(), "<Ex_PdaSn>7</Ex_PdaSn><Ex_EncKey></Ex_EncKey><Ex_MacKey></Ex_MacKey>"
                         "<Ex_EncChkVal></Ex_EncChkVal><Ex_MacChkVal></Ex_MacChkVal>");
}

TEST_F(Keys, ThatAreRefusedGiveTheTerminalsCode) {
    answer("8012", tag("Ex_RetCode", "000031"));
    OutputBuffer retCode;
    EXPECT_EQ(analyser().KeyInit(HostText("7"), HostText("K"), HostText("C"), retCode.data()), 0);
    EXPECT_EQ(retCode.written(), "000031");
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(Keys, WithoutAReplyLeaveTheCheckValueAlone) {
    const std::string wrong = reply("8012", tag("Ex_CheckVal", "AB") + tag("Ex_RetCode", "000000"));
    answerWith("8013", wrong);
    OutputBuffer checkValue;
    OutputBuffer retCode;
    EXPECT_EQ(analyser().GetKeyVerificationValue(HostText("7"), checkValue.data(), retCode.data()), 2);
    EXPECT_EQ(checkValue.written(), "");
    EXPECT_EQ(retCode.written(), "000060");
    EXPECT_THAT(newLines(), Contains("1 Read XML:" + wrong + " ---Wrong Command --Delete"));
}

TEST_F(Keys, AreNamedIrregularlyInJson) {
    answer("8012", tag("Ex_RetCode", "000000"));
    EXPECT_EQ(ask(R"({"transCode":"600012","pdaNumber":"7","pKey":"K","CheckVal":"C"})"),
              (JsonAnswer{0, R"({"pRetCode":"000000","transCode":"600012"})"}));
    EXPECT_EQ(newBody(), "<Ex_PdaSn>7</Ex_PdaSn><Ex_Key>K</Ex_Key><Ex_CheckVal>C</Ex_CheckVal>");
    answer("8013", tag("Ex_CheckVal", "AB") + tag("Ex_RetCode", "000000"));
    EXPECT_EQ(ask(R"({"transCode":"600013","pdaNumber":"7"})"),
              (JsonAnswer{0, R"({"pCheckVal":"AB","pRetCode":"000000","transCode":"600013"})"}));
}

TEST_F(Keys, AreNotTakenUnderTheRegularName) {
    EXPECT_EQ(ask(R"({"transCode":"600012","pdaNumber":"7","pKey":"K","pCheckVal":"C"})"),
              (JsonAnswer{-1, "{}"}));
    EXPECT_TRUE(terminal().received().empty());
}

} // namespace
