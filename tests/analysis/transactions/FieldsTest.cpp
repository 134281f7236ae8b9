#include "Row.h"
#include "tests/analysis/TransactionFixture.h"

#include <algorithm>
#include <iterator>

// Fields that come to more than their text: flags, counts, and values that depend on other ones.

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class Fields : public TransactionTest {
protected:
    /// A call of a member, which gets a reply with these tags: its outputs.
    std::vector<std::string> fetch(const char* member, const std::string& tags) {
        const Row& row = rowOf(member);
        Arguments arguments(row);
        answerAtLength(row.type, tags);
        EXPECT_EQ(row.call(analyser(), arguments), row.family->replied);
        return arguments.written();
    }
};

/// A flag that a field of a reply sets.
struct KeptFlag {
    const char* member;
    const char* field;
    bool* flag;
    std::vector<const char*> raising;
    std::vector<const char*> lowering;
    bool withoutIt;
};

const KeptFlag kFlags[] = {
    {"StartScan",
     "Ex_RetCode",
     &pda_ScanState,
     {"000000"},
     {"000001", "", "0", "00000", "0000000", " 000000", "000000 ", "OOOOOO"},
     false},
    {"GetScanLabelList",
     "Ex_ScanState",
     &pda_ScanState,
     {"1"},
     {"0", "", "11", "01", "true", " 1", "2"},
     false},
    {"GetHandoverDotRet",
     "Ex_State",
     &pda_HandoverDotState,
     {"1", "00", "000060", " 0", "0 ", "", "-0"},
     {"0"},
     true},
    {"GetHandoverPowerRet",
     "Ex_State",
     &pda_HandoverPowerState,
     {"1", "00", "000060", " 0", "0 ", "", "-0"},
     {"0"},
     true},
};

class KeptFlags : public Fields {
protected:
    void expectFlag(const KeptFlag& kept, const std::string& tags, bool expected) {
        SCOPED_TRACE(kept.member + (" with " + tags));
        bool* const all[] = {&pda_ScanState, &pda_HandoverDotState, &pda_HandoverPowerState};
        for (const bool before : {false, true}) {
            for (bool* const each : all) {
                *each = before;
            }
            std::fill(std::begin(pda_ScanLabel), std::end(pda_ScanLabel), "from before");
            fetch(kept.member, tags);
            for (const bool* const each : all) {
                EXPECT_EQ(*each, each == kept.flag ? expected : before);
            }
            const bool isScanCommand = std::string(kept.member) == "StartScan";
            EXPECT_TRUE(std::all_of(std::begin(pda_ScanLabel), std::end(pda_ScanLabel),
                                    [&](const QString& slot) { return slot.isEmpty() == isScanCommand; }));
        }
    }
};

TEST_F(KeptFlags, AreSetByTheirFieldAndAScanCommandEmptiesItsStore) {
    for (const KeptFlag& kept : kFlags) {
        for (const char* value : kept.raising) {
            expectFlag(kept, tag(kept.field, value), true);
        }
        for (const char* value : kept.lowering) {
            expectFlag(kept, tag(kept.field, value), false);
        }
        expectFlag(kept, "", kept.withoutIt);
    }
}

struct LabelList {
    std::string text;
    std::string copied;
    const char* count;
    const char* stride; ///< the place of the first separator
};

TEST_F(Fields, LabelsAreCountedByTheirSeparatorsAndCopiedByTheirCharacters) {
    std::string thousands;
    for (int i = 0; i < 3000; ++i) {
        thousands += "LABEL00001;";
    }
    for (const LabelList& list :
         {LabelList{"AAAA;BBBB;CCCC", "AAAA;BBBB;CCCC", "3", "5"}, LabelList{"AAAA", "AAAA", "1", "0"},
          LabelList{"", "", "0", "0"}, LabelList{" ", " ", "1", "0"}, LabelList{"A1;B2;", "A1;B2;", "3", "3"},
          LabelList{";", ";", "2", "1"}, LabelList{";;A", ";;A", "3", "1"},
          LabelList{"A;BBBBBB;CC", "A;BBBBBB;CC", "3", "2"},
          // The full-width semicolon separates too. As many bytes are copied as there are characters.
          LabelList{"AAAA；BBBB", "AAAA；BB", "2", "5"}, LabelList{"A；B;C", "A；B", "3", "2"},
          LabelList{"éé;ab", "éé;", "2", "3"},
          // A character of two UTF-16 units and four bytes.
          LabelList{"\xF0\x9F\x93\xA0;abc", "\xF0\x9F\x93\xA0;a", "2", "3"},
          LabelList{thousands, thousands, "3001", "11"}}) {
        SCOPED_TRACE(list.text.substr(0, 20));
        EXPECT_EQ(fetch("GetScanLabelList", tag("Ex_Label", list.text)),
                  (std::vector<std::string>{list.copied, list.count, list.stride, ""}));
        const std::vector<std::string> inventory = fetch("GetInventoryRet", tag("Ex_Label", list.text));
        EXPECT_EQ(inventory[1], list.count);
        EXPECT_EQ(inventory[2], list.copied);
    }
    answer("8005", tag("Ex_Label", "AAAA；BBBB") + tag("Ex_ScanState", "0"));
    EXPECT_EQ(ask(R"({"transCode":"600005","pdaNumber":"7"})"),
              (JsonAnswer{0, R"({"pLabelLen":5,"pLabelList":"AAAA；BB","pLabelSize":2,"pScanState":"0",)"
                             R"("transCode":"600005"})"}));
}

TEST_F(Fields, ATellerComesWithSuccessOnly) {
    const auto fetched = [this](const std::string& tags) { return fetch("PDA_GetRegisterUserData", tags); };
    const std::string nul(1, '\0');
    const std::string success = tag("Ex_RetCode", "000000");
    const std::string teller = tag("Ex_TellerNo", "9876");
    EXPECT_THAT(fetched(success + teller), ElementsAre("9876" + nul, "000000" + nul));
    for (const char* code : {"000001", "00000", "0000000", "0"}) {
        EXPECT_THAT(fetched(tag("Ex_RetCode", code) + teller), ElementsAre("", code + nul));
    }
    EXPECT_THAT(fetched(success), ElementsAre(nul, "000000" + nul));
    EXPECT_THAT(fetched(teller), ElementsAre("", nul));
}

TEST_F(Fields, ATellerThatDoesNotFitIntoAHostsBufferFailsInJson) {
    answerAtLength("8017", tag("Ex_RetCode", "000000") + tag("Ex_TellerNo", std::string(115000, '9')));
    EXPECT_EQ(ask(R"({"transCode":"600017","pdaNumber":"7"})"),
              (JsonAnswer{-1, R"({"pRetCode":"","pTellerNo":"","transCode":"600017"})"}));
    EXPECT_THAT(newLogTexts(3), ElementsAre(HasSubstr("pTellerNo")));
    EXPECT_EQ(m_PerformTasksYN, 1);
    const std::string code(112000, '9'); // longer than a formatted line of the log may be
    answerAtLength("8018", tag("Ex_RetCode", code));
    EXPECT_EQ(ask(R"({"transCode":"600018","pdaNumber":"7","pAuthRet":""})"),
              (JsonAnswer{1, R"({"pRetCode":")" + code + R"(","transCode":"600018"})"}));
}

TEST_F(Fields, TellersAreCountedByTheirSemicolons) {
    struct List {
        const char* text;
        const char* total;
    };
    for (const List& list : {List{"a;b;", "2"}, List{"a;b;c;", "3"}, List{"a;b;c", "2"}, List{"a", "0"},
                             List{"", "0"}, List{";", "0"}, List{";;a;;b;;", "2"}, List{" ; ;", "2"},
                             List{"a；b；", "0"}, List{"终端;é;", "2"}}) {
        const std::string total = tag("Ex_PdaSn", "7") + tag("Ex_Total", list.total);
        EXPECT_EQ(analyser().PDA_SendUserAuthenticationResult(HostText("7"), list.text, nullptr), 1);
        EXPECT_EQ(newBody(), total + tag("Ex_AuthRet", list.text));
        EXPECT_EQ(analyser().PDA_EscortUserInfoSync(HostText("7"), list.text, nullptr), 1);
        EXPECT_EQ(newBody(), total + tag("Ex_TellerNo", list.text));
    }
}

TEST_F(Fields, CurrentKeysComeWithoutTheEvThatAReplyMayCarry) {
    std::vector<std::string> expected = Arguments::untouched(rowOf("GetCDKKEV_CDKKCV"));
    expected.back() = "cv";
    EXPECT_EQ(fetch("GetCDKKEV_CDKKCV", tag("Ex_CurrentCDKKEV", "ev") + tag("Ex_CurrentCDKKCV", "cv")),
              expected);
}

TEST_F(Fields, OneTextMayBeInputAndOutput) {
    std::string buffer("lock-1\0##############", 21);
    answer("7012", tag("Ex_LockId", "answered"));
    EXPECT_EQ(analyser().GetPublicKey(buffer.data(), nullptr, nullptr, buffer.data(), nullptr, nullptr), 0);
    EXPECT_EQ(newBody(), "<Ex_LockId>lock-1</Ex_LockId>");
    EXPECT_EQ(buffer, "answered#############");
}

} // namespace
