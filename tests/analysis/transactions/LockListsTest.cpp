#include "RowFixture.h"

#include <algorithm>

namespace {

const std::string kNul(1, '\0');

/// The two replies that list locks.
class LockList : public RowTest {
protected:
    static std::size_t firstList() { return 3; }
    static std::size_t lists() { return row().outputs.size() - firstList(); }
    static const char* listTag(std::size_t list) { return row().outputs[firstList() + list].tag; }

    /// An entry with this value in each of its fields.
    static std::string entry(const std::string& value) {
        std::string fields;
        for (std::size_t list = 0; list < lists(); ++list) {
            fields += tagged(listTag(list), value);
        }
        return fields;
    }
    static std::string inGroup(const std::string& fields) { return "<LockList>" + fields + "</LockList>"; }

    /// Calls with a reply of these texts behind its three single fields, and expects the same text in all
    /// lists.
    void expectLists(const std::string& entries, const std::string& expected) {
        Arguments arguments(row());
        expectLists(arguments, entries, expected);
    }
    void expectLists(Arguments& arguments, const std::string& entries, const std::string& expected) {
        answerAtLength(row().type, singles() + entries);
        const Outcome outcome = call(arguments);
        EXPECT_EQ(outcome.result, 0);
        EXPECT_EQ(outcome.taskFlag, 0);
        const std::vector<std::string> single{"0042", "000000", "5"};
        EXPECT_TRUE(std::equal(single.begin(), single.end(), outcome.outputs.begin()));
        for (std::size_t list = 0; list < lists(); ++list) {
            EXPECT_TRUE(outcome.outputs[firstList() + list] == expected + kNul)
                << listTag(list) << ": " << outcome.outputs[firstList() + list].substr(0, 200);
        }
    }
    static std::string singles() {
        return tagged("Ex_SrcSeqNo", "0042") + tagged("Ex_RetCode", "000000") + tagged("Ex_LockNum", "5");
    }
};

TEST_P(LockList, HoldsTheEntriesInTheirOrder) {
    // The terminal's own count is passed on and not compared.
    expectLists(inGroup(entry("one")) + inGroup(entry("two")) + inGroup(entry("three")), "one;two;three;");
}

TEST_P(LockList, HoldsAnEmptyValueForAFieldThatAnEntryLacks) {
    for (std::size_t missing = 0; missing < lists(); ++missing) {
        ReplyFields fields = sampleReply(row());
        std::vector<Field>& second = fields.entries.at(1);
        second.erase(second.begin() + static_cast<std::ptrdiff_t>(missing));
        answerRow(fields);
        const Outcome outcome = call();
        EXPECT_EQ(outcome, replied(fields)) << "without " << listTag(missing);
        EXPECT_EQ(outcome.outputs[firstList() + missing], fields.entries[0][missing].second + ";;" + kNul);
    }
}

TEST_P(LockList, HoldsAnEmptyValueForAnEmptyField) {
    expectLists(inGroup(entry("one")) + inGroup(entry("")) + inGroup("") + inGroup(entry("four")),
                "one;;;four;");
}

TEST_P(LockList, IsPutBehindTheTextThatIsThere) {
    Arguments arguments(row());
    const std::string entries = inGroup(entry("one")) + inGroup(entry("two"));
    expectLists(arguments, entries, "one;two;");
    for (std::size_t single = 0; single < firstList(); ++single) {
        std::fill_n(arguments.output(single), 10, Arguments::kFilling);
    }
    expectLists(arguments, entries, "one;two;one;two;");
}

TEST_P(LockList, WithoutEntriesPutsNothingThere) {
    expectLists("", "");
    expectLists("<LockList>" + entry("unfinished"), "");
}

TEST_P(LockList, WithoutEntriesLeavesWhatIsThere) {
    Arguments arguments(row());
    for (std::size_t list = 0; list < lists(); ++list) {
        std::copy_n("old;", 5, arguments.output(firstList() + list));
    }
    expectLists(arguments, "", "old;");
}

TEST_P(LockList, EndsWithItsLastClosingTag) {
    expectLists(inGroup(entry("one")) + entry("behind"), "one;");
}

TEST_P(LockList, IsCutAtItsClosingTagsAndTenCharactersBehindThem) {
    // Whatever these characters are; the reply's own first ten go for the first entry.
    expectLists(entry("one") + "</LockList>" + "0123456789" + entry("two") + "</LockList>" +
                    "终端终端终端终端终端" + entry("three") + "</LockList>",
                "one;two;three;");
}

TEST_P(LockList, LosesAFieldThatBeginsWithinTheTenCharacters) {
    for (const char* before : {"", "012345678", "终端终端"}) {
        answerAtLength(row().type,
                       singles() + inGroup(entry("one")) + before + entry("lost") + "</LockList>");
        const Outcome outcome = call();
        EXPECT_EQ(outcome.outputs[firstList()], "one;;" + kNul);
        EXPECT_EQ(outcome.outputs.back(), "one;lost;" + kNul);
    }
}

TEST_P(LockList, SkipsAnEntryWithoutAnyCharacter) {
    expectLists(inGroup(entry("one")) + "</LockList></LockList>" + inGroup(entry("two")), "one;two;");
}

TEST_P(LockList, HoldsAnEmptyEntryForFewCharacters) {
    expectLists(inGroup(entry("one")) + "x</LockList>" + inGroup(entry("two")), "one;;two;");
}

TEST_P(LockList, TakesTheFirstOfSeveralFieldsOfAnEntry) {
    expectLists(inGroup(entry("one") + entry("another")), "one;");
    // What stands in front of the list belongs to the first entry.
    expectLists(entry("front") + inGroup(entry("one")) + inGroup(entry("two")), "front;two;");
}

TEST_P(LockList, KeepsTextsAsTheyAre) {
    const std::string odd = "%s%n;终端\xF0\x9F\x93\xA0<b>&lt;";
    expectLists(inGroup(entry("é" + odd)) + inGroup(entry(odd)), "é" + odd + ";" + odd + ";");
}

TEST_P(LockList, OfThousandsIsTakenWhole) {
    std::string entries;
    std::string expected;
    for (int i = 0; i < 2000; ++i) {
        const std::string value = "终" + std::to_string(i);
        entries += inGroup(entry(value));
        expected += value + ";";
    }
    expectLists(entries, expected);
}

TEST_P(LockList, OfOneLongEntryIsTakenWhole) {
    const std::string value(30000, 'x');
    expectLists(inGroup(entry(value)) + inGroup(entry("two")), value + ";two;");
}

TEST_P(LockList, KeepsTheTerminalsCountAsItIs) {
    ReplyFields fields = sampleReply(row());
    for (const char* count : {"0", "-1", "many", "00000000000000000000000000000017", ""}) {
        fields.replace("Ex_LockNum", count);
        answerRow(fields);
        const Outcome outcome = call();
        EXPECT_EQ(outcome.outputs[2], count);
        EXPECT_EQ(outcome, replied(fields));
    }
}

TEST_P(LockList, IsAskedForWithoutABody) {
    answerRow(sampleReply(row()));
    call();
    EXPECT_EQ(newMaskedMessage(), maskedMessage(row().type, "0001", ""));
}

std::vector<Row> listRows() {
    std::vector<Row> rows;
    for (const Row& row : allRows()) {
        if (!row.outputs.empty() && row.outputs.back().kind == Kind::List) {
            rows.push_back(row);
        }
    }
    return rows;
}

INSTANTIATE_TEST_SUITE_P(Of, LockList, testing::ValuesIn(listRows()), NameOfMember());

} // namespace
