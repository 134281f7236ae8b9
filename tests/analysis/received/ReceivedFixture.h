#pragma once

#include "HandlerTable.h"
#include "tests/analysis/TransactionFixture.h"

#include <ostream>
#include <string>
#include <utility>
#include <vector>

inline void PrintTo(const Handler& handler, std::ostream* stream) {
    *stream << handler.member;
}

std::vector<Handler> acknowledgingHandlers();

using Fields = std::vector<std::pair<std::string, std::string>>;

/// Every tag that the handler keeps, each with a value of its own, in the order of the slots.
Fields fieldsOf(const Handler& handler);
std::string valueOf(const std::string& tagName);

/// Every slot of the handler's store.
std::vector<std::string> stored(const Handler& handler);
/// A store whose first slots hold these values and whose others are empty.
std::vector<std::string> storeOf(const Handler& handler, const Fields& fields);
/// Lets every slot of the store hold the text.
void fillStore(const Handler& handler, const char* text);

/// Names a case by its member.
struct NameOfHandler {
    std::string operator()(const testing::TestParamInfo<Handler>& info) const { return info.param.member; }
};

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
