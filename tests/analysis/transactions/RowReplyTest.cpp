#include "RowFixture.h"

#include <algorithm>

namespace {

/// What becomes of the reply's fields.
class RowReply : public RowTest {
protected:
    /// Gives each field and each entry's field a text of its own.
    static ReplyFields changedReply(const std::string& before, const std::string& after) {
        ReplyFields fields = sampleReply(row());
        int number = 0;
        const auto change = [&](std::vector<Field>& each) {
            for (Field& field : each) {
                field.second = before;
                field.second.append(std::to_string(++number)).append(after);
            }
        };
        change(fields.fields);
        std::for_each(fields.entries.begin(), fields.entries.end(), change);
        return fields;
    }
};

TEST_P(RowReply, FillsEachOutputWithItsFieldWhateverTheirOrder) {
    ReplyFields fields = sampleReply(row());
    answerRow(fields);
    EXPECT_EQ(call(), replied(fields));
    std::reverse(fields.fields.begin(), fields.fields.end());
    for (std::vector<Field>& entry : fields.entries) {
        std::reverse(entry.begin(), entry.end());
    }
    answerRow(fields);
    EXPECT_EQ(call(), replied(sampleReply(row())));
}

TEST_P(RowReply, LeavesAnOutputAloneWhoseFieldIsMissing) {
    for (const Field& missing : sampleReply(row()).fields) {
        ReplyFields fields = sampleReply(row());
        fields.remove(missing.first);
        answerRow(fields);
        EXPECT_EQ(call(), replied(fields)) << "without " << missing.first;
    }
    answerRow({});
    EXPECT_EQ(call(), replied({})) << "without any";
}

TEST_P(RowReply, LeavesAnOutputAloneWhoseFieldIsEmpty) {
    for (const Field& empty : sampleReply(row()).fields) {
        ReplyFields fields = sampleReply(row());
        fields.replace(empty.first, "");
        answerRow(fields);
        EXPECT_EQ(call(), replied(fields)) << "with an empty " << empty.first;
    }
}

TEST_P(RowReply, PassesTheTerminalsOwnFailureOn) {
    ReplyFields fields = sampleReply(row());
    fields.replace("Ex_RetCode", "000017");
    answerRow(fields);
    EXPECT_EQ(call(), replied(fields));
}

TEST_P(RowReply, KeepsValuesAsTheyAre) {
    const ReplyFields fields = changedReply("%s%n%5000d &amp; <b>", "</b> é终\xF0\x9F\x93\xA0 \\ \"");
    answerRow(fields);
    EXPECT_EQ(call(), replied(fields));
}

TEST_P(RowReply, IsTakenWholeBeyond20480Bytes) {
    // The first field alone is longer; all others come behind it.
    ReplyFields fields = changedReply(std::string(1000, 'x'), "!");
    fields.fields.front().second = std::string(21000, 'y');
    answerAtLength(row().type, textOf(fields));
    EXPECT_TRUE(call() == replied(fields)); // too long to be printed
}

TEST_P(RowReply, IsTakenWholeWithUnknownFieldsInFront) {
    const ReplyFields fields = sampleReply(row());
    answerAtLength(row().type, tagged("Other", std::string(21000, 'x')) + textOf(fields));
    EXPECT_EQ(call(), replied(fields));
}

TEST_P(RowReply, SkipsNullOutputs) {
    Arguments arguments(row());
    arguments.withoutOutputs();
    answerRow(sampleReply(row()));
    EXPECT_EQ(call(arguments),
              (Outcome{row().family->replied, Arguments::untouched(row()), row().family->flagAtEnd}));
}

INSTANTIATE_TEST_SUITE_P(Of, RowReply, testing::ValuesIn(answeredRows()), NameOfMember());

} // namespace
