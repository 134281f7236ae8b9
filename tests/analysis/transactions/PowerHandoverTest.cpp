#include "TransactionFixture.h"

#include <array>

namespace {

/// Handing over a batch.
class PowerHandover : public TransactionTest {
protected:
    std::string bodyWith(char* unused) {
        int total = -2;
        answer("8010", tag("Ex_RetCode", "000000"));
        OutputBuffer retCode;
        EXPECT_EQ(analyser().SyncHandoverPowerData(HostText("7"), HostText("T"), HostText("O"), HostText("Z"),
                                                   HostText("N\xC3\xA9"), HostText("B"), &total,
                                                   HostText("L;"), unused, retCode.data()),
                  0);
        EXPECT_EQ(retCode.written(), "000000");
        return newBody();
    }
};

TEST_F(PowerHandover, SendsItsValuesInTheTerminalsOrder) {
    EXPECT_EQ(bodyWith(HostText("unused")),
              "<Ex_PdaSn>7</Ex_PdaSn><Ex_OrgNb>O</Ex_OrgNb><Ex_Time>Z</Ex_Time><Ex_OrgNm>Né</Ex_OrgNm>"
              "<Ex_BatchNb>B</Ex_BatchNb><Ex_TaskId>T</Ex_TaskId><Ex_Total>-2</Ex_Total>"
              "<Ex_Label>L;</Ex_Label>");
}

TEST_F(PowerHandover, DoesNotUseTheParameterBeforeTheLast) {
    const std::string body = bodyWith(HostText(""));
    EXPECT_EQ(bodyWith(HostText("anything <Ex_Label>")), body);
    EXPECT_EQ(bodyWith(nullptr), body);
}

TEST_F(PowerHandover, RequiresTheUnusedMemberInJson) {
    const std::string request =
        R"({"transCode":"600010","pdaNumber":"7","pTaskID":"T","pOrgNb":"O","pTime":"Z","pOrgNm":"N",)"
        R"("pBatchNb":"B","pTotal":1,"pLabel":"L;")";
    EXPECT_EQ(ask(request + "}"), (JsonAnswer{-1, "{}"}));
    EXPECT_TRUE(terminal().received().empty());
    answer("8010", tag("Ex_RetCode", "000000"));
    EXPECT_EQ(ask(request + R"(,"pBagNumber":"x"})"),
              (JsonAnswer{0, R"({"pRetCode":"000000","transCode":"600010"})"}));
}

/// What became of it.
class PowerHandoverResult : public TransactionTest {
protected:
    int fetch(std::array<ShortOutputBuffer, 23>& x) {
        return analyser().GetHandoverPowerRet(
            HostText("7"), HostText("T"), x[0].data(), x[1].data(), x[2].data(), x[3].data(), x[4].data(),
            x[5].data(), x[6].data(), x[7].data(), x[8].data(), x[9].data(), x[10].data(), x[11].data(),
            x[12].data(), x[13].data(), x[14].data(), x[15].data(), x[16].data(), x[17].data(), x[18].data(),
            x[19].data(), x[20].data(), x[21].data(), x[22].data());
    }
    int fetch() {
        std::array<ShortOutputBuffer, 23> outputs;
        return fetch(outputs);
    }
};

TEST_F(PowerHandoverResult, RaisesTheFlagUnlessTheStateIsZero) {
    for (const bool before : {false, true}) {
        for (const char* state : {"1", "00", "000060", " 0", "0 ", "", "-0"}) {
            pda_HandoverPowerState = before;
            answer("8011", tag("Ex_State", state));
            EXPECT_EQ(fetch(), 0);
            EXPECT_TRUE(pda_HandoverPowerState) << '"' << state << '"';
        }
        pda_HandoverPowerState = before;
        answer("8011", tag("Ex_State", "0"));
        EXPECT_EQ(fetch(), 0);
        EXPECT_FALSE(pda_HandoverPowerState);
    }
    EXPECT_FALSE(pda_HandoverDotState) << "that is another's";
}

TEST_F(PowerHandoverResult, WithoutAStateRaisesTheFlag) {
    answer("8011", tag("Ex_BatchNb", "B"));
    EXPECT_EQ(fetch(), 0);
    EXPECT_TRUE(pda_HandoverPowerState);
}

TEST_F(PowerHandoverResult, WithoutAReplyLeavesEverythingAsItWas) {
    terminal().addFault("8011", pdasim::Fault().silence());
    std::array<ShortOutputBuffer, 23> outputs;
    pda_HandoverPowerState = true;
    const Milliseconds time = timeOf([&] { EXPECT_EQ(fetch(outputs), 2); });
    EXPECT_GE(time, kSilentWait);
    EXPECT_LT(time, 2 * kSilentWait);
    for (const ShortOutputBuffer& output : outputs) {
        EXPECT_EQ(output.written(), "");
    }
    EXPECT_TRUE(pda_HandoverPowerState);
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(PowerHandoverResult, HasNothingToDoWithTheStore) {
    pda_HandoverPowerData[1] = "stored";
    answer("8011", tag("Ex_State", "1"));
    std::array<ShortOutputBuffer, 23> outputs;
    EXPECT_EQ(fetch(outputs), 0);
    EXPECT_EQ(outputs[0].written(), "");
    EXPECT_EQ(pda_HandoverPowerData[1], "stored");
}

TEST_F(PowerHandoverResult, NamesTheBatchIrregularlyInJson) {
    answer("8011", tag("Ex_BatchNb", "N-5") + tag("Ex_Label", "P1;") + tag("Ex_State", "0"));
    EXPECT_EQ(ask(R"({"transCode":"600011","pdaNumber":"7","pTaskID":"T"})"),
              (JsonAnswer{0, R"({"BatchNb":"N-5","pAFigData":"","pALogin":"","pAMacChkVal":"","pAName":"",)"
                             R"("pAPwd":"","pARnd":"","pBFigData":"","pBLogin":"","pBMacChkVal":"",)"
                             R"("pBName":"","pBPwd":"","pBRnd":"","pCFigData":"","pCLogin":"",)"
                             R"("pCMacChkVal":"","pCName":"","pCPwd":"","pCRnd":"","pErrLabel":"",)"
                             R"("pLable":"P1;","pScanState":"0","pTime":"","transCode":"600011"})"}));
}

TEST_F(PowerHandoverResult, IsEmptyInJsonWithoutAReply) {
    answerWith("8011", reply("8010", tag("Ex_State", "0")));
    const JsonAnswer answer = ask(R"({"transCode":"600011","pdaNumber":"7","pTaskID":"T"})");
    EXPECT_EQ(answer.result, 2);
    EXPECT_NE(answer.text.find(R"("pScanState":"",)"), std::string::npos) << answer.text;
}

} // namespace
