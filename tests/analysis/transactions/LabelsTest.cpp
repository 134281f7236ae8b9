#include "TransactionFixture.h"

#include <algorithm>
#include <iterator>

namespace {

using pdasim::Fault;

const std::string kAccepted = "<Ex_RetCode>000000</Ex_RetCode>";

bool isStoreEmpty() {
    return std::all_of(std::begin(pda_ScanLabel), std::end(pda_ScanLabel),
                       [](const QString& slot) { return slot.isEmpty(); });
}

/// Starting and stopping a scan run.
class ScanRun : public TransactionTest {
protected:
    void SetUp() override {
        TransactionTest::SetUp();
        std::fill(std::begin(pda_ScanLabel), std::end(pda_ScanLabel), "from before");
    }

    /// The result of StartScan and the code that it gives.
    std::pair<int, std::string> start() {
        OutputBuffer retCode;
        const int result = analyser().StartScan(HostText("00000007"), HostText("1"), retCode.data());
        return {result, retCode.written()};
    }
};

TEST_F(ScanRun, BeginsWithAnEmptyStore) {
    pda_ScanState = false;
    answer("8004", kAccepted);
    EXPECT_EQ(start(), (std::pair<int, std::string>(0, "000000")));
    EXPECT_TRUE(isStoreEmpty());
    EXPECT_TRUE(pda_ScanState);
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(ScanRun, ThatIsRefusedEmptiesTheStoreAllTheSame) {
    pda_ScanState = true;
    answer("8004", tag("Ex_RetCode", "000001"));
    EXPECT_EQ(start(), (std::pair<int, std::string>(0, "000001")));
    EXPECT_TRUE(isStoreEmpty());
    EXPECT_FALSE(pda_ScanState);
}

TEST_F(ScanRun, IsOnlyAcceptedWithSixZeros) {
    for (const char* code : {"", "0", "00000", "0000000", " 000000", "000000 ", "OOOOOO"}) {
        pda_ScanState = true;
        answer("8004", tag("Ex_RetCode", code));
        EXPECT_EQ(start().first, 0);
        EXPECT_FALSE(pda_ScanState) << '"' << code << '"';
    }
}

TEST_F(ScanRun, WithoutACodeIsNotAccepted) {
    pda_ScanState = true;
    answer("8004", "");
    EXPECT_EQ(start(), (std::pair<int, std::string>(0, "")));
    EXPECT_TRUE(isStoreEmpty());
    EXPECT_FALSE(pda_ScanState);
}

TEST_F(ScanRun, WithoutAReplyLeavesStoreAndStateAlone) {
    pda_ScanState = true;
    terminal().addFault("8004", Fault().silence());
    EXPECT_EQ(start(), (std::pair<int, std::string>(2, "000060")));
    EXPECT_EQ(pda_ScanLabel[0], "from before");
    EXPECT_EQ(pda_ScanLabel[1999], "from before");
    EXPECT_TRUE(pda_ScanState);
}

TEST_F(ScanRun, SendsAnyCommand) {
    answer("8004", kAccepted);
    analyser().StartScan(HostText("00000007"), HostText("whatever 0"), nullptr);
    EXPECT_EQ(newBody(), "<Ex_PdaSn>00000007</Ex_PdaSn><Ex_Cmd>whatever 0</Ex_Cmd>");
}

TEST_F(ScanRun, ThroughJsonEmptiesTheStoreToo) {
    answer("8004", kAccepted);
    EXPECT_EQ(ask(R"({"transCode":"600004","pdaNumber":"7","pCmdType":"1"})"),
              (JsonAnswer{0, R"({"pRetCode":"000000","transCode":"600004"})"}));
    EXPECT_TRUE(isStoreEmpty());
    EXPECT_TRUE(pda_ScanState);
}

/// What GetScanLabelList gives.
struct Labels {
    int result;
    std::string list;
    int count;
    int stride;
    std::string state;

    bool operator==(const Labels& other) const {
        return result == other.result && list == other.list && count == other.count &&
               stride == other.stride && state == other.state;
    }
};

void PrintTo(const Labels& labels, std::ostream* stream) {
    *stream << "result " << labels.result << ", \"" << labels.list << "\", count " << labels.count
            << ", stride " << labels.stride << ", state \"" << labels.state << '"';
}

/// Fetching what has been scanned.
class ScannedLabels : public TransactionTest {
protected:
    Labels fetch() {
        OutputBuffer list;
        OutputBuffer state;
        int count = -77;
        int stride = -77;
        const int result =
            analyser().GetScanLabelList(HostText("00000007"), list.data(), &count, &stride, state.data());
        return {result, list.written(), count, stride, state.written()};
    }
    Labels fetch(const std::string& list, const std::string& state = "1") {
        answer("8005", tag("Ex_Label", list) + tag("Ex_ScanState", state));
        return fetch();
    }
};

TEST_F(ScannedLabels, AreCountedByTheirSeparators) {
    EXPECT_EQ(fetch("AAAA;BBBB;CCCC"), (Labels{0, "AAAA;BBBB;CCCC", 3, 5, "1"}));
    EXPECT_EQ(fetch("AAAA"), (Labels{0, "AAAA", 1, 0, "1"}));
    EXPECT_EQ(fetch(""), (Labels{0, "", 0, 0, "1"}));
    EXPECT_EQ(fetch(" "), (Labels{0, " ", 1, 0, "1"}));
}

TEST_F(ScannedLabels, CountASeparatorAtTheEndToo) {
    EXPECT_EQ(fetch("A1;B2;"), (Labels{0, "A1;B2;", 3, 3, "1"}));
    EXPECT_EQ(fetch(";"), (Labels{0, ";", 2, 1, "1"}));
    EXPECT_EQ(fetch(";;A"), (Labels{0, ";;A", 3, 1, "1"}));
}

TEST_F(ScannedLabels, TakeTheStrideFromTheFirstSeparatorOnly) {
    EXPECT_EQ(fetch("A;BBBBBB;CC"), (Labels{0, "A;BBBBBB;CC", 3, 2, "1"}));
}

TEST_F(ScannedLabels, AreSeparatedByTheFullWidthSemicolonToo) {
    // Nine characters of eleven bytes: the copy is cut short by two.
    EXPECT_EQ(fetch("AAAA；BBBB"), (Labels{0, "AAAA；BB", 2, 5, "1"}));
    EXPECT_EQ(fetch("A；B;C"), (Labels{0, "A；B", 3, 2, "1"}));
}

TEST_F(ScannedLabels, AreCutByTheDifferenceOfBytesAndCharacters) {
    EXPECT_EQ(fetch("éé;ab"), (Labels{0, "éé;", 2, 3, "1"}));
    // A character of two UTF-16 units and four bytes.
    EXPECT_EQ(fetch("\xF0\x9F\x93\xA0;abc"), (Labels{0, "\xF0\x9F\x93\xA0;a", 2, 3, "1"}));
}

TEST_F(ScannedLabels, AreThousands) {
    std::string list;
    for (int i = 0; i < 3000; ++i) {
        list += "LABEL00001;";
    }
    answerAtLength("8005", tag("Ex_Label", list) + tag("Ex_ScanState", "1"));
    EXPECT_TRUE(fetch() == (Labels{0, list, 3001, 11, "1"}));
}

TEST_F(ScannedLabels, WithoutAListAreNone) {
    answer("8005", tag("Ex_ScanState", "1"));
    EXPECT_EQ(fetch(), (Labels{0, "", 0, 0, "1"}));
}

TEST_F(ScannedLabels, WithoutAReplyWriteNothing) {
    answerWith("8005", reply("8001", tag("Ex_Label", "A;B") + tag("Ex_ScanState", "1")));
    EXPECT_EQ(fetch(), (Labels{2, "", -77, -77, ""}));
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(ScannedLabels, SetTheScanState) {
    for (const bool before : {false, true}) {
        for (const char* state : {"0", "", "11", "01", "true", " 1", "2"}) {
            pda_ScanState = before;
            EXPECT_EQ(fetch("A", state).state, state);
            EXPECT_FALSE(pda_ScanState) << '"' << state << '"';
        }
        pda_ScanState = before;
        fetch("A", "1");
        EXPECT_TRUE(pda_ScanState);
    }
}

TEST_F(ScannedLabels, ComeFromTheTerminalAndNotFromTheStore) {
    pda_ScanLabel[0] = "00000007";
    pda_ScanLabel[1] = "STORED";
    EXPECT_EQ(fetch("A;B"), (Labels{0, "A;B", 2, 2, "1"}));
    EXPECT_EQ(pda_ScanLabel[0], "00000007");
    EXPECT_EQ(pda_ScanLabel[1], "STORED");
}

TEST_F(ScannedLabels, AreNumbersInJson) {
    answer("8005", tag("Ex_Label", "AAAA；BBBB") + tag("Ex_ScanState", "0"));
    EXPECT_EQ(ask(R"({"transCode":"600005","pdaNumber":"7"})"),
              (JsonAnswer{0, R"({"pLabelLen":5,"pLabelList":"AAAA；BB","pLabelSize":2,"pScanState":"0",)"
                             R"("transCode":"600005"})"}));
}

TEST_F(ScannedLabels, WithoutAReplyAreZeroAndEmptyInJson) {
    answerWith("8005", reply("8004", kAccepted));
    EXPECT_EQ(ask(R"({"transCode":"600005","pdaNumber":"7"})"),
              (JsonAnswer{2, R"({"pLabelLen":0,"pLabelList":"","pLabelSize":0,"pScanState":"",)"
                             R"("transCode":"600005"})"}));
}

/// Writing a bag's label.
class BagLabel : public TransactionTest {
protected:
    std::vector<std::string> write() {
        OutputBuffer tid;
        OutputBuffer retCode;
        const int result = analyser().WriteBagNumber(HostText("B1"), HostText("O"), HostText("T"), tid.data(),
                                                     retCode.data());
        return {std::to_string(result), tid.written(), retCode.written()};
    }
};

TEST_F(BagLabel, IsWaitedForTwice) {
    terminal().addFault("8003", Fault().silence());
    std::vector<std::string> outcome;
    const Milliseconds time = timeOf([&] { outcome = write(); });
    EXPECT_EQ(outcome, (std::vector<std::string>{"2", "", "000060"}));
    EXPECT_GE(time, 2 * kSilentWait);
}

TEST_F(BagLabel, MayBeWrittenInTheSecondWait) {
    std::thread terminalLater = answerInTheSecondWait("8003", tag("Ex_Tid", "late") + kAccepted);
    EXPECT_EQ(write(), (std::vector<std::string>{"0", "late", "000000"}));
    terminalLater.join();
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(BagLabel, NeedsNoTerminalNumber) {
    answer("8003", kAccepted);
    EXPECT_EQ(ask(R"({"transCode":"600003","pBagNumber":"B1","pAttrOrg":"O","pBagType":"T"})"),
              (JsonAnswer{0, R"({"pRetCode":"000000","pTid":"","transCode":"600003"})"}));
    EXPECT_EQ(newBody(), "<Ex_Label>B1</Ex_Label><Ex_OrgNm>O</Ex_OrgNm><Ex_BagType>T</Ex_BagType>");
}

} // namespace
