#include "ReceivedFixture.h"

#include <algorithm>

namespace {

/// What is kept of a message.
using ReceivedStore = ReceivedBy;

TEST_P(ReceivedStore, HoldsEachTagInItsSlot) {
    EXPECT_EQ(stored(handler()), std::vector<std::string>(handler().storeSize)) << "before any message";
    const Fields all = fieldsOf(handler());
    expectStored(all, all);
    expectStored(Fields(all.rbegin(), all.rend()), all);
    Fields twice = all;
    for (const char* name : handler().tags) {
        twice.emplace_back(name, "second");
    }
    expectStored(twice, all);
    for (std::size_t i = 0; i < all.size(); ++i) {
        SCOPED_TRACE("without " + all[i].first);
        Fields fields = all;
        fields.erase(fields.begin() + static_cast<std::ptrdiff_t>(i));
        expectStored(fields, fields);
        std::string unclosed = usualMessage();
        const std::string closing = "</" + all[i].first + ">";
        unclosed.erase(unclosed.find(closing), closing.size());
        expectTextStored(unclosed, fields);
    }
}

TEST_P(ReceivedStore, HoldsValuesAsTheyAre) {
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

TEST_P(ReceivedStore, IsFilledWhateverTheHeader) {
    std::string text = usualMessage();
    for (const char* type : {"8001", "9009", "    ", "xxxx"}) {
        SCOPED_TRACE(type);
        expectTextStored(text.replace(6, 4, type), fieldsOf(handler()));
    }
    expectTextStored(usualMessage().substr(50), fieldsOf(handler()));
    // The host's text is only read.
    const std::string original = usualMessage();
    text = original;
    EXPECT_EQ((analyser().*handler().receive)(text.data()), 0);
    EXPECT_EQ(text, original);
}

TEST_P(ReceivedStore, IsOverwrittenByTheNextMessageUnlessItIsTheScans) {
    if (isScan()) {
        return; // it collects; see ScanStore
    }
    EXPECT_EQ(hand(handler(), usualMessage()), 0);
    Fields next = fieldsOf(handler());
    for (std::size_t i = 0; i < next.size(); ++i) {
        next[i].second = i % 2 == 0 ? "next" : "";
    }
    EXPECT_EQ(hand(handler(), messageOf(handler(), next)), 0);
    EXPECT_EQ(stored(handler()), storeOf(handler(), next));
    EXPECT_EQ(hand(handler(), messageOf(handler(), {})), 0);
    EXPECT_EQ(stored(handler()), std::vector<std::string>(handler().storeSize));
    fillStore(handler(), "the host's own");
    EXPECT_EQ(hand(handler(), usualMessage()), 0);
    std::vector<std::string> expected = usualStore();
    std::fill(expected.begin() + static_cast<std::ptrdiff_t>(handler().tags.size()), expected.end(),
              "the host's own");
    EXPECT_EQ(stored(handler()), expected) << "spare slots are kept";
}

INSTANTIATE_TEST_SUITE_P(Of, ReceivedStore, testing::ValuesIn(allHandlers()), NameOfHandler());

using ReceivedAmongOthers = ReceivedTest;

TEST_F(ReceivedAmongOthers, FillsItsOwnStoreAndLowersItsOwnFlagEvenIfEmpty) {
    for (const Handler& handler : allHandlers()) {
        for (const Fields& fields : {fieldsOf(handler), Fields{}}) {
            SCOPED_TRACE(handler.member);
            for (const Handler& other : allHandlers()) {
                fillStore(other, other.store == handler.store ? "" : "kept");
            }
            pda_HandoverDotState = true;
            pda_HandoverPowerState = true;
            pda_ScanState = true;
            EXPECT_EQ(hand(handler, messageOf(handler, fields)), 0);
            if (handler.acknowledgementType != nullptr) {
                EXPECT_EQ(newMessage().substr(6, 4), handler.acknowledgementType);
            }
            EXPECT_EQ(pda_HandoverDotState, handler.lowered != &pda_HandoverDotState);
            EXPECT_EQ(pda_HandoverPowerState, handler.lowered != &pda_HandoverPowerState);
            EXPECT_TRUE(pda_ScanState);
            for (const Handler& other : allHandlers()) {
                EXPECT_EQ(stored(other), other.store == handler.store
                                             ? storeOf(handler, fields)
                                             : std::vector<std::string>(other.storeSize, "kept"));
            }
        }
    }
}

} // namespace
