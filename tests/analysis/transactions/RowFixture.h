#pragma once

#include "Row.h"
#include "TransactionFixture.h"

/// What a call of a row's member came to.
struct Outcome {
    int result;
    std::vector<std::string> outputs;
    int taskFlag;

    bool operator==(const Outcome& other) const {
        return result == other.result && outputs == other.outputs && taskFlag == other.taskFlag;
    }
};
inline void PrintTo(const Outcome& outcome, std::ostream* stream) {
    *stream << "result " << outcome.result << ", task flag " << outcome.taskFlag << ", outputs "
            << testing::PrintToString(outcome.outputs);
}

/// One row of the table.
class RowTest : public TransactionTest, public testing::WithParamInterface<Row> {
protected:
    static const Row& row() { return GetParam(); }

    Outcome call(Arguments& arguments) {
        const int result = row().call(analyser(), arguments);
        return {result, arguments.written(), m_PerformTasksYN};
    }
    Outcome call() {
        Arguments arguments(row());
        return call(arguments);
    }

    static std::string textOf(const ReplyFields& fields) {
        std::string tags;
        for (const Field& field : fields.fields) {
            tags += tagged(field.first, field.second);
        }
        for (const std::vector<Field>& entry : fields.entries) {
            tags += "<LockList>";
            for (const Field& field : entry) {
                tags += tagged(field.first, field.second);
            }
            tags += "</LockList>";
        }
        return tags;
    }
    void answerRow(const ReplyFields& fields) {
        if (row().waits > 0) {
            answer(row().type, textOf(fields));
        }
    }
    /// The next reply is of a type that no request of this row has.
    std::string answerWrongly() {
        std::string text = reply("8001", textOf(sampleReply(row())));
        answerWith(row().type, text);
        return text;
    }

    static Outcome replied(const ReplyFields& fields) {
        return {row().family->replied, outputsOf(row(), fields), row().family->flagAtEnd};
    }
    static Outcome notReplied() {
        return {row().family->notReplied, outputsWithoutReply(row()), row().family->flagAtEnd};
    }
    static Outcome notSent() { return {-1, Arguments::untouched(row()), 1}; }

    /// How a message that went out looks in the log.
    static std::vector<std::string> linesOfSending(const std::string& message) {
        std::vector<std::string> lines;
        if (row().begin != nullptr) {
            lines.push_back(std::string("1 ") + row().begin);
        }
        if (row().sendLabel != nullptr) {
            lines.push_back(std::string("4 ") + row().sendLabel + " SendData pre: " + message);
        }
        lines.push_back((row().isBytes ? "4 Write XML1: " : "4 Write XML: ") + message +
                        " sendLen:" + std::to_string(message.size()));
        return lines;
    }
};

/// Names a case by its member.
struct NameOfMember {
    std::string operator()(const testing::TestParamInfo<Row>& info) const { return info.param.member; }
};
