#include "TransactionFixture.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>

namespace {

/// Handing over a task.
class InventoryTask : public TransactionTest {
protected:
    std::string bodyWithTotal(int total) {
        answer("8006", tag("Ex_RetCode", "000000"));
        EXPECT_EQ(analyser().DownInvenData(HostText("7"), HostText("T"), &total, HostText("A;B;"), nullptr),
                  0);
        return newBody();
    }
};

TEST_F(InventoryTask, SendsItsTotalInDecimal) {
    const std::string before = "<Ex_PdaSn>7</Ex_PdaSn><Ex_TaskId>T</Ex_TaskId><Ex_Total>";
    const std::string behind = "</Ex_Total><Ex_Label>A;B;</Ex_Label>";
    EXPECT_EQ(bodyWithTotal(0), before + "0" + behind);
    EXPECT_EQ(bodyWithTotal(-5), before + "-5" + behind);
    EXPECT_EQ(bodyWithTotal(2147483647), before + "2147483647" + behind);
    EXPECT_EQ(bodyWithTotal(std::numeric_limits<int>::min()), before + "-2147483648" + behind);
}

TEST_F(InventoryTask, SendsANullTotalAsZero) {
    answer("8006", tag("Ex_RetCode", "000000"));
    EXPECT_EQ(analyser().DownInvenData(HostText("7"), HostText("T"), nullptr, HostText("A;"), nullptr), 0);
    EXPECT_EQ(newBody(), "<Ex_PdaSn>7</Ex_PdaSn><Ex_TaskId>T</Ex_TaskId><Ex_Total>0</Ex_Total>"
                         "<Ex_Label>A;</Ex_Label>");
}

TEST_F(InventoryTask, SendsItsLabelsWhateverTheTotal) {
    int total = 1;
    answer("8006", tag("Ex_RetCode", "000000"));
    analyser().DownInvenData(HostText("7"), HostText("T"), &total, HostText(";;A；B;C"), nullptr);
    EXPECT_EQ(newBody(), "<Ex_PdaSn>7</Ex_PdaSn><Ex_TaskId>T</Ex_TaskId><Ex_Total>1</Ex_Total>"
                         "<Ex_Label>;;A；B;C</Ex_Label>");
}

TEST_F(InventoryTask, TakesEveryTotalOfJson) {
    for (const char* total : {"0", "-1", "2147483647", "-2147483648"}) {
        answer("8006", tag("Ex_RetCode", "000000"));
        EXPECT_EQ(
            ask(std::string(R"({"transCode":"600006","pdaNumber":"7","pTaskID":"T","pLabelList":"A;",)") +
                R"("pTotal":)" + total + "}"),
            (JsonAnswer{0, R"({"pRetCode":"000000","transCode":"600006"})"}));
        EXPECT_EQ(newBody(), std::string("<Ex_PdaSn>7</Ex_PdaSn><Ex_TaskId>T</Ex_TaskId><Ex_Total>") + total +
                                 "</Ex_Total><Ex_Label>A;</Ex_Label>");
    }
}

const std::array<const char*, 11> kTags{"Ex_TaskId", "Ex_Label",     "Ex_ErrLabel", "Ex_Offline",
                                        "Ex_Login",  "Ex_Name",      "Ex_FigData",  "Ex_Rnd",
                                        "Ex_Pwd",    "Ex_MacChkVal", "Ex_InvenSta"};

/// What became of a task.
class InventoryResult : public TransactionTest {
protected:
    static constexpr int kUntouched = -77;

    struct Result {
        int result;
        int count;
        std::vector<std::string> texts;
    };

    Result fetch() {
        std::array<ShortOutputBuffer, 11> texts;
        int count = kUntouched;
        const int result = analyser().GetInventoryRet(HostText("7"), texts[0].data(), &count, texts[1].data(),
                                                      texts[2].data(), texts[3].data(), texts[4].data(),
                                                      texts[5].data(), texts[6].data(), texts[7].data(),
                                                      texts[8].data(), texts[9].data(), texts[10].data());
        Result got{result, count, {}};
        for (const ShortOutputBuffer& text : texts) {
            got.texts.push_back(text.written());
        }
        return got;
    }
    int countOf(const std::string& labels) {
        answer("8007", tag("Ex_Label", labels));
        return fetch().count;
    }
};

TEST_F(InventoryResult, CountsLabelsByTheirSeparators) {
    EXPECT_EQ(countOf("B01;B02;B03"), 3);
    EXPECT_EQ(countOf("B01"), 1);
    EXPECT_EQ(countOf(""), 0);
}

TEST_F(InventoryResult, CountsASeparatorAtTheEndToo) {
    EXPECT_EQ(countOf("B01;B02;"), 3);
    EXPECT_EQ(countOf(";"), 2);
}

TEST_F(InventoryResult, CountsTheFullWidthSeparatorToo) {
    EXPECT_EQ(countOf("B01；B02;B03；"), 4);
}

TEST_F(InventoryResult, WithoutLabelsCountsNone) {
    answer("8007", tag("Ex_TaskId", "T"));
    const Result got = fetch();
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.count, 0);
    EXPECT_EQ(got.texts.front(), "T");
}

TEST_F(InventoryResult, CopiesAsManyBytesAsThereAreCharacters) {
    for (std::size_t i = 0; i < kTags.size(); ++i) {
        // Five characters of eight bytes.
        answer("8007", tag(kTags[i], "a终éxy"));
        std::vector<std::string> expected(kTags.size());
        expected[i] = std::string("a终é").substr(0, 5);
        EXPECT_EQ(fetch().texts, expected) << kTags[i];
    }
}

TEST_F(InventoryResult, WithoutAReplyWritesNothing) {
    terminal().addFault("8007", pdasim::Fault().silence());
    Result got{};
    const Milliseconds time = timeOf([&] { got = fetch(); });
    EXPECT_EQ(got.result, 2);
    EXPECT_EQ(got.count, kUntouched);
    EXPECT_EQ(got.texts, std::vector<std::string>(kTags.size()));
    EXPECT_GE(time, kSilentWait);
    EXPECT_LT(time, 2 * kSilentWait);
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(InventoryResult, IgnoresTheResultCode) {
    answer("8007", tag("Ex_RetCode", "000017"));
    const Result got = fetch();
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.texts, std::vector<std::string>(kTags.size()));
}

TEST_F(InventoryResult, HasNothingToDoWithTheStore) {
    std::fill(std::begin(pda_GetInventoryRet), std::end(pda_GetInventoryRet), "stored");
    answer("8007", tag("Ex_Label", "A;B"));
    const Result got = fetch();
    EXPECT_EQ(got.count, 2);
    EXPECT_EQ(got.texts[2], "");
    EXPECT_TRUE(std::all_of(std::begin(pda_GetInventoryRet), std::end(pda_GetInventoryRet),
                            [](const QString& slot) { return slot == "stored"; }));
}

TEST_F(InventoryResult, IsANumberAndElevenTextsInJson) {
    answer("8007", tag("Ex_TaskId", "T") + tag("Ex_Label", "A;B") + tag("Ex_Offline", "off") +
                       tag("Ex_Login", "log") + tag("Ex_InvenSta", "sta"));
    EXPECT_EQ(
        ask(R"({"transCode":"600007","pdaNumber":"7"})"),
        (JsonAnswer{0, R"({"pErrLabel":"","pFigData":"","pLabelList":"A;B","pLabelSize":2,)"
                       R"("pLoginType":"log","pMacChkVal":"","pRnd":"","pScanState":"sta","pTaskID":"T",)"
                       R"("pUserName":"","pUserPwd":"","pVerificationType":"off","transCode":"600007"})"}));
}

} // namespace
