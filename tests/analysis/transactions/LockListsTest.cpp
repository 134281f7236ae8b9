#include "RowFixture.h"

#include <algorithm>

namespace {

const std::string kNul(1, '\0');

/// The two replies that list locks.
class LockList : public RowTest {
protected:
    static std::size_t firstList() { return 3; }
    static std::size_t lists() { return row().outputs.size() - firstList(); }
    static std::string listTag(std::size_t list) { return row().outputs[firstList() + list].tag; }

    /// An entry with this value in each of its fields.
    static std::string entry(const std::string& value) {
        std::string fields;
        for (std::size_t list = 0; list < lists(); ++list) {
            fields += tag(listTag(list), value);
        }
        return fields;
    }
    static std::string inGroup(const std::string& fields) { return "<LockList>" + fields + "</LockList>"; }
    /// A case's entries as the terminal sends them.
    static std::string expanded(const std::string& entries) {
        std::string text;
        std::size_t opened = 0;
        for (const char each : entries) {
            if (each == '[' || each == '{') {
                opened = text.size();
            } else if (each == ']' || each == '}') {
                const std::string fields = entry(text.substr(opened));
                text.replace(opened, std::string::npos, each == ']' ? inGroup(fields) : fields);
            } else {
                text += each == '|' ? std::string("</LockList>") : std::string(1, each);
            }
        }
        return text;
    }

    /// Calls with a reply of these texts after its three single fields, and expects the same text in all
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
        return tag("Ex_SrcSeqNo", "0042") + tag("Ex_RetCode", "000000") + tag("Ex_LockNum", "5");
    }
};

struct ListCase {
    const char* name;
    std::string entries; ///< "{x}" for an entry of x, "[x]" for one in its group, "|" for a closing tag
    std::string expected;
};

const std::string kOdd = "%s%n;终端\xF0\x9F\x93\xA0<b>&lt;";

// The terminal's own count is passed on and not compared. The text is cut at its closing tags and ten
// characters after them, whatever these are; the reply's own first ten go for the first entry.
const std::vector<ListCase> kLists{
    {"entries in their order", "[one][two][three]", "one;two;three;"},
    {"empty fields and an empty entry", "[one][]<LockList>|[four]", "one;;;four;"},
    {"no entry", "", ""},
    {"an entry that does not close", "<LockList>{unfinished}", ""},
    {"text after the last closing tag", "[one]{after}", "one;"},
    {"other characters in place of the opening tag", "{one}|0123456789{two}|终端终端终端终端终端{three}|",
     "one;two;three;"},
    {"closing tags without any character between", "[one]||[two]", "one;two;"},
    {"few characters between closing tags", "[one]x|[two]", "one;;two;"},
    {"a field twice", "<LockList>{one}{another}|", "one;"},
    {"fields in front of the list", "{front}[one][two]", "front;two;"},
    {"odd texts", "[é" + kOdd + "][" + kOdd + "]", "é" + kOdd + ";" + kOdd + ";"},
    {"a long entry", "[" + std::string(30000, 'x') + "][two]", std::string(30000, 'x') + ";two;"},
};

TEST_P(LockList, HoldsAValueForEachEntry) {
    for (const ListCase& each : kLists) {
        SCOPED_TRACE(each.name);
        expectLists(expanded(each.entries), each.expected);
    }
    SCOPED_TRACE("thousands");
    std::string entries;
    std::string expected;
    for (int i = 0; i < 2000; ++i) {
        const std::string value = "终" + std::to_string(i);
        entries += inGroup(entry(value));
        expected += value + ";";
    }
    expectLists(entries, expected);
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
    for (const char* before : {"", "012345678", "终端终端"}) { // it begins within the ten characters
        answerAtLength(row().type,
                       singles() + inGroup(entry("one")) + before + entry("lost") + "</LockList>");
        const Outcome outcome = call();
        EXPECT_EQ(outcome.outputs[firstList()], "one;;" + kNul) << before;
        EXPECT_EQ(outcome.outputs.back(), "one;lost;" + kNul) << before;
    }
}

TEST_P(LockList, IsAppendedToTheTextThatIsThere) {
    Arguments arguments(row());
    const std::string entries = expanded("[one][two]");
    expectLists(arguments, entries, "one;two;");
    for (std::size_t single = 0; single < firstList(); ++single) {
        std::fill_n(arguments.output(single), 10, Arguments::kFilling);
    }
    expectLists(arguments, entries, "one;two;one;two;");
    Arguments withText(row());
    for (std::size_t list = 0; list < lists(); ++list) {
        std::copy_n("old;", 5, withText.output(firstList() + list));
    }
    expectLists(withText, "", "old;");
}

std::vector<Row> listRows() {
    return rowsThat(
        [](const Row& row) { return !row.outputs.empty() && row.outputs.back().kind == Kind::List; });
}

INSTANTIATE_TEST_SUITE_P(Of, LockList, testing::ValuesIn(listRows()), NameOfMember());

} // namespace
