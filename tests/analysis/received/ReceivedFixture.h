#pragma once

#include "Handlers.h"
#include "tests/analysis/transactions/TransactionFixture.h"

#include <string>
#include <vector>

/// Messages of the terminal's, handed to their handlers.
class ReceivedTest : public TransactionTest {
protected:
    /// A message with these tags after its own number.
    static std::string messageOf(const Handler& handler, const Fields& fields);

    int hand(const Handler& handler, std::string text);
};

/// The same for one handler.
class ReceivedBy : public ReceivedTest, public testing::WithParamInterface<Handler> {
protected:
    static const Handler& handler() { return GetParam(); }
    static std::string usualMessage() { return messageOf(handler(), fieldsOf(handler())); }
    static std::vector<std::string> usualStore() { return storeOf(handler(), fieldsOf(handler())); }
    static bool isScan() { return std::string(handler().member) == "ReceiveScanResult"; }

    /// Checks what comes of fields: they are stored, in the first pair of a scan's, and nothing else.
    void expectStored(const Fields& sent, const Fields& kept) {
        expectTextStored(messageOf(handler(), sent), kept);
    }
    void expectTextStored(const std::string& text, const Fields& kept) {
        fillStore(handler(), "");
        EXPECT_EQ(hand(handler(), text), 0);
        EXPECT_EQ(stored(handler()), storeOf(handler(), kept));
    }
};
