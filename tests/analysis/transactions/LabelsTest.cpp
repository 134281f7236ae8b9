#include "Row.h"
#include "TransactionFixture.h"

#include <algorithm>
#include <iterator>

namespace {

/// Starting and stopping a scan run.
class ScanRun : public TransactionTest {
protected:
    /// Starts one, directly or through JSON, whose reply holds these tags.
    void start(const std::string& tags, bool isJson, bool stateBefore) {
        std::fill(std::begin(pda_ScanLabel), std::end(pda_ScanLabel), "from before");
        pda_ScanState = stateBefore;
        answer("8004", tags);
        EXPECT_EQ(isJson ? ask(R"({"transCode":"600004","pdaNumber":"7","pCmdType":"1"})").result
                         : analyser().StartScan(HostText("7"), HostText("1"), nullptr),
                  0);
    }
    static bool isStoreEmpty() {
        return std::all_of(std::begin(pda_ScanLabel), std::end(pda_ScanLabel),
                           [](const QString& slot) { return slot.isEmpty(); });
    }
};

TEST_F(ScanRun, EmptiesTheStoreAndIsUnderWayOnlyWithSixZeros) {
    for (const bool isJson : {false, true}) {
        start(tag("Ex_RetCode", "000000"), isJson, false);
        EXPECT_TRUE(isStoreEmpty());
        EXPECT_TRUE(pda_ScanState);
        for (const char* code : {"000001", "", "0", "00000", "0000000", " 000000", "000000 ", "OOOOOO"}) {
            start(tag("Ex_RetCode", code), isJson, true);
            EXPECT_TRUE(isStoreEmpty()) << '"' << code << '"';
            EXPECT_FALSE(pda_ScanState) << '"' << code << '"';
        }
        start("", isJson, true);
        EXPECT_TRUE(isStoreEmpty()) << "without a code";
        EXPECT_FALSE(pda_ScanState) << "without a code";
    }
}

/// Fetching labels, scanned ones and those of an inventory.
class FetchedLabels : public TransactionTest {
protected:
    /// A call of one of the two members that count labels: its outputs.
    std::vector<std::string> fetch(const char* member, const std::string& tags) {
        const Row& row = rowOf(member);
        Arguments arguments(row);
        answerAtLength(row.type, tags);
        EXPECT_EQ(row.call(analyser(), arguments), 0);
        return arguments.written();
    }
};

TEST_F(FetchedLabels, AreCountedByTheirSeparatorsAndCopiedByTheirCharacters) {
    struct List {
        std::string text;
        std::string copied;
        const char* count;
        const char* stride; ///< the place of the first separator
    };
    std::string thousands;
    for (int i = 0; i < 3000; ++i) {
        thousands += "LABEL00001;";
    }
    for (const List& list :
         {List{"AAAA;BBBB;CCCC", "AAAA;BBBB;CCCC", "3", "5"}, List{"AAAA", "AAAA", "1", "0"},
          List{"", "", "0", "0"}, List{" ", " ", "1", "0"}, List{"A1;B2;", "A1;B2;", "3", "3"},
          List{";", ";", "2", "1"}, List{";;A", ";;A", "3", "1"},
          List{"A;BBBBBB;CC", "A;BBBBBB;CC", "3", "2"},
          // The full-width semicolon separates too. As many bytes are copied as there are characters.
          List{"AAAA；BBBB", "AAAA；BB", "2", "5"}, List{"A；B;C", "A；B", "3", "2"},
          List{"éé;ab", "éé;", "2", "3"},
          // A character of two UTF-16 units and four bytes.
          List{"\xF0\x9F\x93\xA0;abc", "\xF0\x9F\x93\xA0;a", "2", "3"},
          List{thousands, thousands, "3001", "11"}}) {
        SCOPED_TRACE(list.text.substr(0, 20));
        const std::vector<std::string> scanned = fetch("GetScanLabelList", tag("Ex_Label", list.text));
        EXPECT_EQ(scanned, (std::vector<std::string>{list.copied, list.count, list.stride, ""}));
        const std::vector<std::string> inventory = fetch("GetInventoryRet", tag("Ex_Label", list.text));
        EXPECT_EQ(inventory[1], list.count);
        EXPECT_EQ(inventory[2], list.copied);
    }
    answer("8005", tag("Ex_Label", "AAAA；BBBB") + tag("Ex_ScanState", "0"));
    EXPECT_EQ(ask(R"({"transCode":"600005","pdaNumber":"7"})"),
              (JsonAnswer{0, R"({"pLabelLen":5,"pLabelList":"AAAA；BB","pLabelSize":2,"pScanState":"0",)"
                             R"("transCode":"600005"})"}));
}

TEST_F(FetchedLabels, ThatDoNotFitIntoTheResponseLeaveItsNumbersZero) {
    const std::string labels = "A;" + std::string(115000, 'x');
    answerAtLength("8005", tag("Ex_Label", labels) + tag("Ex_ScanState", "1"));
    EXPECT_EQ(ask(R"({"transCode":"600005","pdaNumber":"7"})"),
              (JsonAnswer{1, R"({"pLabelLen":0,"pLabelList":"","pLabelSize":0,"pScanState":"",)"
                             R"("transCode":"600005"})"}));
}

TEST_F(FetchedLabels, SetTheScanState) {
    for (const bool before : {false, true}) {
        for (const char* state : {"1", "0", "", "11", "01", "true", " 1", "2"}) {
            pda_ScanState = before;
            fetch("GetScanLabelList", tag("Ex_Label", "A") + tag("Ex_ScanState", state));
            EXPECT_EQ(pda_ScanState, std::string(state) == "1") << '"' << state << '"';
        }
    }
}

TEST_F(FetchedLabels, ComeFromTheTerminalAndNotFromTheStore) {
    std::fill(std::begin(pda_ScanLabel), std::end(pda_ScanLabel), "stored");
    std::fill(std::begin(pda_GetInventoryRet), std::end(pda_GetInventoryRet), "stored");
    const auto isStored = [](const QString& slot) { return slot == "stored"; };
    EXPECT_EQ(fetch("GetScanLabelList", tag("Ex_Label", "A;B"))[0], "A;B");
    std::vector<std::string> expected(12);
    expected[1] = "2";
    expected[2] = "A;B";
    // A result code is nothing to an inventory.
    EXPECT_EQ(fetch("GetInventoryRet", tag("Ex_Label", "A;B") + tag("Ex_RetCode", "000017")), expected);
    EXPECT_TRUE(std::all_of(std::begin(pda_ScanLabel), std::end(pda_ScanLabel), isStored));
    EXPECT_TRUE(std::all_of(std::begin(pda_GetInventoryRet), std::end(pda_GetInventoryRet), isStored));
}

} // namespace
