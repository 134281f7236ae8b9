#include "RowFixture.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <iterator>
#include <limits>

namespace {

using pdasim::Fault;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::StartsWith;

// What each transaction says for itself: its type, its tags and where their values come from and go to, its
// log lines, its results, and what stays as it was without a reply.

/// What goes out.
class TransactionRequest : public RowTest {
protected:
    void expectSampleSentAndLogged() {
        answerRow(sampleReply(row()));
        Arguments arguments(row());
        EXPECT_EQ(call(arguments), replied(sampleReply(row())));
        EXPECT_EQ(arguments.inputs(), Arguments(row()).inputs()) << "inputs are not changed";
        EXPECT_EQ(m_SeqNo, 1);
        EXPECT_TRUE(buffer().isEmpty());
        const std::string sent = newMessage();
        EXPECT_EQ(masked(sent),
                  maskedMessage(row().type, "0001", bodyOf(row(), arguments.inputs()) + row().groups));
        std::vector<std::string> lines = linesOfSending(sent);
        if (row().waits > 0) {
            lines.push_back("4 HID Read XML: " + reply(row().type, textOf(sampleReply(row()))));
            lines.push_back("1 " + row().typeLabel + row().type + " len:4");
        }
        if (!row().resultLine.empty()) {
            lines.push_back("1 " + row().resultLine + "000000");
        }
        EXPECT_THAT(newLines(), ElementsAreArray(lines));
    }

    /// Calls with the inputs, directly and through JSON, and expects them in the message.
    void expectSent(Arguments arguments) {
        answerRow(sampleReply(row()));
        EXPECT_EQ(call(arguments), replied(sampleReply(row())));
        expectMessageOf(arguments);
    }
    void expectSentFromJson(Arguments arguments) {
        if (!row().code.empty()) {
            answerRow(sampleReply(row()));
            expectInJson(members(arguments.inputs()), replied(sampleReply(row())));
            expectMessageOf(arguments);
        }
    }
    /// Changes the inputs' numbers to one, and their texts, if they are sent as they are, to another.
    static Arguments changed(int number, const std::function<std::string(std::size_t)>& text) {
        Arguments arguments(row());
        for (std::size_t i = 0; i < arguments.inputs().size(); ++i) {
            Value& value = arguments.inputs()[i];
            if (std::holds_alternative<int>(value)) {
                value = number;
            } else if (row().inputs[i].content != Content::Gbk || text(i).empty()) {
                value = text(i);
            }
        }
        return arguments;
    }

private:
    void expectMessageOf(Arguments& arguments) {
        const std::string sequence = QString::asprintf("%04d", m_SeqNo).toStdString();
        const std::string body = bodyOf(row(), arguments.inputs());
        constexpr int envelope = 112; // a message without a body
        const int length = row().isBytes ? envelope + static_cast<int>(body.size()) : 0;
        EXPECT_EQ(newMaskedMessage(), maskedMessage(row().type, sequence, body, length));
    }
};

TEST_P(TransactionRequest, HoldsItsInputsInOrderAndIsLogged) {
    expectSampleSentAndLogged();
    Arguments empty = changed(0, [](std::size_t) { return std::string(); });
    {
        SCOPED_TRACE("empty");
        expectSent(empty);
        expectSentFromJson(empty);
    }
    {
        SCOPED_TRACE("null");
        empty.withoutInputs();
        expectSent(empty);
    }
    {
        SCOPED_TRACE("neither escaped nor formatted");
        Arguments odd = changed(std::numeric_limits<int>::max(),
                                [](std::size_t i) { return "%s%n%d <b>&</b> \"\\" + std::to_string(i); });
        expectSent(odd);
        expectSentFromJson(odd);
    }
    {
        SCOPED_TRACE("UTF-8");
        Arguments utf8 = changed(std::numeric_limits<int>::min(), [](std::size_t i) {
            return "é终端\xF0\x9F\x93\xA0；;" + std::to_string(i);
        });
        expectSent(utf8);
        expectSentFromJson(utf8);
    }
}

INSTANTIATE_TEST_SUITE_P(Of, TransactionRequest, testing::ValuesIn(allRows()), NameOfMember());

/// What becomes of the reply's fields.
class TransactionReply : public RowTest {
protected:
    void expectReplied(const ReplyFields& fields) {
        answerRow(fields);
        EXPECT_EQ(call(), replied(fields));
    }
    void expectRepliedInJson(const ReplyFields& fields) {
        if (!row().code.empty()) {
            answerRow(fields);
            expectInJson(replied(fields));
        }
    }
    void expectSkipsNullOutputs() {
        Arguments arguments(row());
        arguments.withoutOutputs();
        Outcome expected{row().family->replied, Arguments::untouched(row()), row().family->flagAtEnd};
        answerRow(sampleReply(row()));
        EXPECT_EQ(call(arguments), expected);
        expected.result = row().family->notReplied;
        answerWrongly();
        EXPECT_EQ(call(arguments), expected);
    }
    static void fillStores() {
        std::fill(std::begin(pda_ScanLabel), std::end(pda_ScanLabel), "stored");
        std::fill(std::begin(pda_GetInventoryRet), std::end(pda_GetInventoryRet), "stored");
        std::fill(std::begin(pda_HandoverDotData), std::end(pda_HandoverDotData), "stored");
        std::fill(std::begin(pda_HandoverPowerData), std::end(pda_HandoverPowerData), "stored");
    }
    static ReplyFields reversed(ReplyFields fields) {
        std::reverse(fields.fields.begin(), fields.fields.end());
        for (std::vector<Field>& entry : fields.entries) {
            std::reverse(entry.begin(), entry.end());
        }
        return fields;
    }
    /// Puts texts around the values, but for the result code if that is to be kept.
    static ReplyFields surrounded(const std::string& before, const std::string& after, bool keepsCode) {
        ReplyFields fields = sampleReply(row());
        const auto change = [&](std::vector<Field>& each) {
            for (auto& [name, value] : each) {
                if (!keepsCode || name != "Ex_RetCode") {
                    value.insert(0, before).append(after);
                }
            }
        };
        change(fields.fields);
        std::for_each(fields.entries.begin(), fields.entries.end(), change);
        return fields;
    }
};

TEST_P(TransactionReply, FillsEachOutputFromItsField) {
    fillStores(); // nothing comes from there
    {
        SCOPED_TRACE("in another order");
        expectReplied(reversed(sampleReply(row())));
        expectRepliedInJson(reversed(sampleReply(row())));
    }
    {
        SCOPED_TRACE("with the terminal's own failure");
        ReplyFields failure = sampleReply(row());
        failure.replace("Ex_RetCode", "000017");
        expectReplied(failure);
        if (!row().resultLine.empty()) {
            EXPECT_EQ(newLines().back(), "1 " + row().resultLine + "000017");
        }
        expectRepliedInJson(failure);
    }
    {
        SCOPED_TRACE("with odd values");
        expectReplied(surrounded("%s%n%5000d &amp; <b>", "</b> é终\xF0\x9F\x93\xA0 \\ \"", false));
        expectRepliedInJson(surrounded("\"%n\\>", "", true));
    }
    {
        SCOPED_TRACE("without any field");
        expectReplied({});
        expectRepliedInJson({});
    }
    for (const Field& field : sampleReply(row()).fields) {
        SCOPED_TRACE(field.first);
        ReplyFields fields = sampleReply(row());
        fields.replace(field.first, "");
        expectReplied(fields);
        fields.remove(field.first);
        expectReplied(fields);
    }
    expectSkipsNullOutputs();
}

std::vector<Row> answeredRows() {
    return rowsThat([](const Row& row) { return row.waits > 0; });
}

INSTANTIATE_TEST_SUITE_P(Of, TransactionReply, testing::ValuesIn(answeredRows()), NameOfMember());

/// Calls that the terminal does not answer as it should.
using TransactionWithoutReply = RowTest;

TEST_P(TransactionWithoutReply, LeavesWhatIsKeptAsItIsAfterItsWaits) {
    keep(true);
    const std::string wrong = answerWrongly();
    const Milliseconds time = timeOf([this] { EXPECT_EQ(call(), notReplied()); });
    EXPECT_LT(time, kSilentWait) << "it is waited for nothing else";
    EXPECT_TRUE(isKept(true));
    EXPECT_THAT(newLines(),
                ElementsAreArray(linesWithoutReply(
                    newMessage(), {"4 HID Read XML: " + wrong, "1 " + row().typeLabel + "8099 len:4",
                                   "1 Read XML:" + wrong + " ---Wrong Command --Delete"})));
    if (!row().code.empty()) {
        answerWrongly();
        expectInJson(notReplied());
        newMessage();
        newLines();
    }
    terminal().addFault(row().type, Fault().silence());
    const ShortSilence silence(terminal());
    EXPECT_EQ(call(), notReplied());
    const std::vector<std::string> waits(static_cast<std::size_t>(row().waits), "4 HID Read XML: ");
    EXPECT_THAT(newLines(), ElementsAreArray(linesWithoutReply(newMessage(), waits)));
    EXPECT_TRUE(isKept(true));
}

INSTANTIATE_TEST_SUITE_P(Of, TransactionWithoutReply, testing::ValuesIn(answeredRows()), NameOfMember());

using TransactionFailure = RowTest;

TEST_P(TransactionFailure, OfTheWriteLeavesOutputsAndTaskFlagAsTheyAre) {
    keep(false);
    terminal().addFault(row().type, Fault().shortWrite(50));
    EXPECT_EQ(call(), notSent());
    EXPECT_THAT(newLines(), ElementsAreArray(linesOfFailedSending(newMessage(), 50)));
    if (!row().code.empty()) {
        terminal().addFault(row().type, Fault().shortWrite(50));
        expectInJson(notSent());
        newMessage();
        newLines();
    }
    EXPECT_TRUE(isKept(false));
    EXPECT_TRUE(g_hidRun);
    keep(true);
    terminal().addFault(row().type, Fault().refuseWrite(EIO));
    const Milliseconds time = timeOf([this] { EXPECT_EQ(call(), notSent()); });
    EXPECT_LT(time, kSilentWait);
    EXPECT_TRUE(isKept(true));
    EXPECT_FALSE(g_hidRun);
    EXPECT_THAT(newLines(), ElementsAreArray(linesOfFailedSending(newMessage(), -1)));
}

INSTANTIATE_TEST_SUITE_P(Of, TransactionFailure, testing::ValuesIn(allRows()), NameOfMember());

/// Requests in JSON that are not as they should be.
class TransactionInJson : public RowTest {
protected:
    static Members sampleMembers() { return members(Arguments(row()).inputs()); }

    void expectRefused(const Members& request) {
        newLines();
        EXPECT_EQ(ask(object(request)), (JsonAnswer{-1, "{}"})) << object(request);
        EXPECT_THAT(newLines(), ElementsAre(StartsWith("1 inJson4:"),
                                            "1 info msg:transCode:" + row().code + " param name error",
                                            "1 outJson:{} outLen:2 ret:-1"));
        EXPECT_THAT(terminal().received(), IsEmpty());
        EXPECT_EQ(m_SeqNo, 0);
        EXPECT_EQ(m_PerformTasksYN, 0);
    }
};

TEST_P(TransactionInJson, NeedsEachInputInItsTypeAndNothingElse) {
    for (std::size_t i = 1; i <= row().inputs.size(); ++i) {
        std::vector<std::string> wrong{"null", "true", "[]", "{}", "1.0"};
        if (std::holds_alternative<int>(row().inputs[i - 1].sample)) {
            wrong.insert(wrong.end(), {"\"1\"", "2147483648", "-2147483649", "1e0"});
        } else {
            wrong.emplace_back("1");
        }
        for (const std::string& value : wrong) {
            Members request = sampleMembers();
            request[i].second = value;
            expectRefused(request);
        }
        Members request = sampleMembers();
        request[i].first += "x";
        expectRefused(request);
        request.erase(request.begin() + static_cast<std::ptrdiff_t>(i));
        expectRefused(request);
    }
    Members request = sampleMembers();
    request.emplace_back("unknown", "[1]");
    answerRow(sampleReply(row()));
    expectInJson(Members(request.rbegin(), request.rend()), replied(sampleReply(row())));
    EXPECT_EQ(newBody(), bodyOf(row(), Arguments(row()).inputs()) + row().groups);
}

std::vector<Row> rowsInJson() {
    return rowsThat([](const Row& row) { return !row.code.empty(); });
}

INSTANTIATE_TEST_SUITE_P(Of, TransactionInJson, testing::ValuesIn(rowsInJson()), NameOfMember());

} // namespace
