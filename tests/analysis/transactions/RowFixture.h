#pragma once

#include "Row.h"
#include "tests/analysis/TransactionFixture.h"

#include <map>
#include <string>
#include <vector>

/// A member with its value, as JSON.
using Members = std::vector<std::pair<std::string, std::string>>;

/// One row of the table, called directly and, where it has a code, through JSON.
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

    static std::string textOf(const ReplyFields& fields);
    void answerRow(const ReplyFields& fields);
    /// The next reply is of a type that no request of this row has.
    std::string answerWrongly();

    static Outcome replied(const ReplyFields& fields) {
        return {row().family->replied, outputsOf(row(), fields), row().family->flagAtEnd};
    }
    static Outcome notReplied() {
        return {row().family->notReplied, outputsWithoutReply(row()), row().family->flagAtEnd};
    }
    static Outcome notSent() { return {-1, Arguments::untouched(row()), 1}; }

    /// The request's members for these inputs.
    static Members members(const std::vector<Value>& inputs);
    static std::string object(const Members& members);
    /// Asks through JSON, if the row has a code, and expects the same as of a direct call.
    void expectInJson(const Members& request, const Outcome& expected);
    void expectInJson(const Outcome& expected) { expectInJson(members(Arguments(row()).inputs()), expected); }

    /// How a message looks in the log: one that went out, and one of which so much was written, -1 for an
    /// error.
    static std::vector<std::string> linesOfSending(const std::string& message);
    static std::vector<std::string> linesOfFailedSending(const std::string& message, int written);
    /// The same when no usable reply came: after these lines, the row's own.
    static std::vector<std::string> linesWithoutReply(const std::string& message,
                                                      const std::vector<std::string>& lines);

    /// Fills what the library keeps of replies; a call without one must leave it alone.
    static void keep(bool state);
    static bool isKept(bool state);

private:
    static std::vector<std::string> linesInFrontOfSending(const std::string& message);
};

/// Names a case by its member.
struct NameOfMember {
    std::string operator()(const testing::TestParamInfo<Row>& info) const { return info.param.member; }
};
