#include "ReceivedFixture.h"

#include "analysis/ResultStores.h"

#include <algorithm>

namespace {

/// What is kept of a message.
using ReceivedStore = ReceivedBy;

TEST_P(ReceivedStore, BeginsEmpty) {
    EXPECT_EQ(stored(handler()), std::vector<std::string>(handler().storeSize));
}

TEST_P(ReceivedStore, HoldsEveryTagInItsSlot) {
    EXPECT_EQ(hand(handler(), usualMessage()), 0);
    EXPECT_EQ(stored(handler()), usualStore());
}

TEST_P(ReceivedStore, HasAnEmptySlotForEachMissingTag) {
    const Fields all = fieldsOf(handler());
    for (std::size_t i = 0; i < all.size(); ++i) {
        Fields fields = all;
        fields.erase(fields.begin() + static_cast<std::ptrdiff_t>(i));
        SCOPED_TRACE("without " + all[i].first);
        expectStored(fields, fields);
    }
}

TEST_P(ReceivedStore, HasAnEmptySlotForEachTagThatDoesNotClose) {
    const Fields all = fieldsOf(handler());
    for (std::size_t i = 0; i < all.size(); ++i) {
        fillStore(handler(), "");
        std::string text = usualMessage();
        const std::string closing = "</" + all[i].first + ">";
        text.erase(text.find(closing), closing.size());
        EXPECT_EQ(hand(handler(), text), 0);
        Fields kept = all;
        kept[i].second = "";
        EXPECT_EQ(stored(handler()), storeOf(handler(), kept)) << all[i].first;
    }
}

TEST_P(ReceivedStore, TakesTagsInAnyOrder) {
    Fields fields = fieldsOf(handler());
    std::reverse(fields.begin(), fields.end());
    expectStored(fields, fields);
}

TEST_P(ReceivedStore, TakesTheFirstOfSeveralTags) {
    Fields fields = fieldsOf(handler());
    for (const char* name : handler().tags) {
        fields.emplace_back(name, "second");
    }
    expectStored(fields, fieldsOf(handler()));
}

TEST_P(ReceivedStore, TakesValuesAsTheyAre) {
    Fields fields = fieldsOf(handler());
    for (auto& [name, value] : fields) {
        value = "<b>&lt;</b> %s \t\r\n;" + name;
    }
    expectStored(fields, fields);
    fields = fieldsOf(handler());
    fields[1].second = "é终\xF0\x9F\x93\xA0"; // the last tag still closes within the count of characters
    fields.emplace_back("Ex_Rest", "so many characters more");
    expectStored(fields, fields);
}

TEST_P(ReceivedStore, KeepsNoMessageNumber) {
    hand(handler(), usualMessage());
    const std::vector<std::string> values = stored(handler());
    EXPECT_EQ(std::count(values.begin(), values.end(), "4711"), 0);
}

TEST_P(ReceivedStore, IsFilledWhateverTheMessagesType) {
    std::string text = usualMessage();
    for (const char* type : {"8001", "9009", "    ", "xxxx"}) {
        fillStore(handler(), "");
        EXPECT_EQ(hand(handler(), text.replace(6, 4, type)), 0);
        EXPECT_EQ(stored(handler()), usualStore()) << type;
    }
}

TEST_P(ReceivedStore, IsFilledWithoutAHeader) {
    EXPECT_EQ(hand(handler(), usualMessage().substr(50)), 0);
    EXPECT_EQ(stored(handler()), usualStore());
}

TEST_P(ReceivedStore, IsTheOnlyOneThatIsFilled) {
    for (const Handler& other : allHandlers()) {
        fillStore(other, other.store == handler().store ? "" : "kept");
    }
    pda_ScanState = true;
    EXPECT_EQ(hand(handler(), usualMessage()), 0);
    for (const Handler& other : allHandlers()) {
        if (other.store != handler().store) {
            EXPECT_EQ(stored(other), std::vector<std::string>(other.storeSize, "kept")) << other.member;
        }
    }
    EXPECT_TRUE(pda_ScanState);
}

TEST_P(ReceivedStore, LeavesTheHostsTextAsItIs) {
    const std::string original = usualMessage();
    std::string text = original;
    EXPECT_EQ((analyser().*handler().receive)(text.data()), 0);
    EXPECT_EQ(text, original);
}

INSTANTIATE_TEST_SUITE_P(Of, ReceivedStore, testing::ValuesIn(allHandlers()), NameOfHandler());

/// The stores that hold one message.
using ReceivedStoreOfOne = ReceivedBy;

std::vector<Handler> handlersOfOne() {
    std::vector<Handler> handlers = allHandlers();
    handlers.erase(handlers.begin()); // all but the scan's
    return handlers;
}

TEST_P(ReceivedStoreOfOne, IsOverwrittenByTheNext) {
    EXPECT_EQ(hand(handler(), usualMessage()), 0);
    Fields next = fieldsOf(handler());
    for (std::size_t i = 0; i < next.size(); ++i) {
        next[i].second = i % 2 == 0 ? "next" : "";
    }
    EXPECT_EQ(hand(handler(), messageOf(handler(), next)), 0);
    EXPECT_EQ(stored(handler()), storeOf(handler(), next));
}

TEST_P(ReceivedStoreOfOne, IsEmptiedByAMessageWithoutTags) {
    EXPECT_EQ(hand(handler(), usualMessage()), 0);
    EXPECT_EQ(hand(handler(), messageOf(handler(), {})), 0);
    EXPECT_EQ(stored(handler()), std::vector<std::string>(handler().storeSize));
}

TEST_P(ReceivedStoreOfOne, KeepsItsSpareSlot) {
    fillStore(handler(), "the host's own");
    EXPECT_EQ(hand(handler(), usualMessage()), 0);
    std::vector<std::string> expected = usualStore();
    std::fill(expected.begin() + static_cast<std::ptrdiff_t>(handler().tags.size()), expected.end(),
              "the host's own");
    EXPECT_EQ(stored(handler()), expected);
}

INSTANTIATE_TEST_SUITE_P(Of, ReceivedStoreOfOne, testing::ValuesIn(handlersOfOne()), NameOfHandler());

/// The flags that tell of finished handovers.
class ReceivedHandover : public ReceivedTest {
protected:
    ReceivedHandover() {
        pda_HandoverDotState = true;
        pda_HandoverPowerState = true;
        pda_ScanState = true;
    }
};

TEST_F(ReceivedHandover, AtADotLowersItsOwnFlag) {
    const Handler& dot = handlerOf("ReceiveHandoverDotData");
    EXPECT_EQ(hand(dot, messageOf(dot, fieldsOf(dot))), 0);
    EXPECT_FALSE(pda_HandoverDotState);
    EXPECT_TRUE(pda_HandoverPowerState);
    EXPECT_TRUE(pda_ScanState);
}

TEST_F(ReceivedHandover, OfPowerLowersItsOwnFlag) {
    const Handler& power = handlerOf("ReceiveHandoverPowerData");
    EXPECT_EQ(hand(power, messageOf(power, fieldsOf(power))), 0);
    EXPECT_TRUE(pda_HandoverDotState);
    EXPECT_FALSE(pda_HandoverPowerState);
    EXPECT_TRUE(pda_ScanState);
}

TEST_F(ReceivedHandover, AtADotWithoutARoadLowersItsFlagAndIsAcknowledged) {
    const Handler& dot = handlerOf("ReceiveHandoverDotData");
    Fields fields = fieldsOf(dot);
    fields.erase(fields.begin() + 1);
    EXPECT_EQ(hand(dot, messageOf(dot, fields)), 0);
    EXPECT_EQ(pda_HandoverDotData[1], "");
    EXPECT_EQ(pda_HandoverDotData[2], "value of Ex_Time");
    EXPECT_FALSE(pda_HandoverDotState);
    EXPECT_EQ(newMessage().substr(6, 4), "9005");
}

TEST_F(ReceivedHandover, OfNoOtherKindLowersAFlag) {
    for (const Handler& other : allHandlers()) {
        if (other.lowered == nullptr) {
            EXPECT_EQ(hand(other, messageOf(other, fieldsOf(other))), 0);
        }
    }
    EXPECT_TRUE(pda_HandoverDotState);
    EXPECT_TRUE(pda_HandoverPowerState);
    EXPECT_TRUE(pda_ScanState);
}

TEST_F(ReceivedHandover, OfNoKindTouchesTheOtherKindsTag) {
    const Handler& dot = handlerOf("ReceiveHandoverDotData");
    const Handler& power = handlerOf("ReceiveHandoverPowerData");
    EXPECT_EQ(hand(dot, messageOf(dot, {{"Ex_BatchNb", "batch"}})), 0);
    EXPECT_EQ(hand(power, messageOf(power, {{"Ex_Road", "road"}})), 0);
    EXPECT_EQ(pda_HandoverDotData[1], "");
    EXPECT_EQ(pda_HandoverPowerData[1], "");
}

} // namespace
