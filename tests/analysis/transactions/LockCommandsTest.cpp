#include "Row.h"
#include "TransactionFixture.h"

namespace {

/// What the terminal relays to locks.
using LockCommand = TransactionTest;

TEST_F(LockCommand, SharesItsNumbersWithTheTransactions) {
    EXPECT_EQ(getInfo().result, 0);
    newMessage();
    answer("7011", "");
    analyser().GetLockList(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(newMaskedMessage(), maskedMessage("7011", "0002", ""));
}

TEST_F(LockCommand, ForTheCurrentKeysReadsNoEv) {
    const Row& row = rowOf("GetCDKKEV_CDKKCV");
    Arguments arguments(row);
    answer("7014", tag("Ex_CurrentCDKKEV", "ev"));
    EXPECT_EQ(row.call(analyser(), arguments), 0);
    EXPECT_EQ(arguments.written(), Arguments::untouched(row));
}

TEST_F(LockCommand, MayHaveOneTextForInputAndOutput) {
    std::string buffer("lock-1\0##############", 21);
    answer("7012", tag("Ex_LockId", "answered"));
    EXPECT_EQ(analyser().GetPublicKey(buffer.data(), nullptr, nullptr, buffer.data(), nullptr, nullptr), 0);
    EXPECT_EQ(newBody(), "<Ex_LockId>lock-1</Ex_LockId>");
    EXPECT_EQ(buffer, "answered#############");
}

} // namespace
