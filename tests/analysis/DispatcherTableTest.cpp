#include "analysis/TransactionTable.h"
#include "analysis/Transactions.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

// The table of what hosts send and get, written down a second time.

namespace {

/// A row as text: integers are marked "int".
struct Expected {
    const char* code;
    Run run;
    std::vector<std::string> inputs;
    std::vector<std::string> outputs;
    int failure;
};

const Expected kExpected[] = {
    {"600001", transactions::init, {"pdaNumber", "pFactory"}, {"pSN", "pVender", "pRetCode"}, 1},
    {"600002", transactions::getInfo, {}, {"pSN", "pBleVersion", "pPDAVersion", "pRetCode"}, 1},
};

std::vector<std::string> texts(const std::vector<Member>& members) {
    std::vector<std::string> result;
    for (const Member& member : members) {
        result.push_back(std::string(member.kind == Kind::Integer ? "int " : "") + member.key);
    }
    return result;
}

TEST(TransactionTable, MatchesTheAgreedInterface) {
    for (const Expected& expected : kExpected) {
        const Row* const row = findRow(expected.code);
        ASSERT_NE(row, nullptr) << expected.code;
        EXPECT_STREQ(row->code, expected.code);
        EXPECT_EQ(row->run, expected.run) << expected.code;
        EXPECT_EQ(texts(row->inputs), expected.inputs) << expected.code;
        EXPECT_EQ(texts(row->outputs), expected.outputs) << expected.code;
        EXPECT_EQ(row->failure, expected.failure) << expected.code;
    }
}

TEST(TransactionTable, HoldsNoOtherCode) {
    for (int number = 600000; number <= 600030; ++number) {
        const std::string code = std::to_string(number);
        const bool expected = number == 600001 || number == 600002;
        EXPECT_EQ(findRow(code) != nullptr, expected) << code;
    }
    for (const char* code : {"", "6", "60000", "6000010", "600001 ", "700001"}) {
        EXPECT_EQ(findRow(code), nullptr) << code;
    }
}

} // namespace
