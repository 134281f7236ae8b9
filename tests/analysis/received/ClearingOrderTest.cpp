#include "BufferLockWatch.h"
#include "ReceivedFixture.h"

namespace {

/// What a handler has done when it empties the receive buffer.
using ReceivedClearing = ReceivedBy;

TEST_P(ReceivedClearing, HasItsPlaceBetweenStoreAndFlag) {
    if (handler().lowered != nullptr) {
        *handler().lowered = true;
    }
    std::vector<std::string> storedBefore;
    bool isLoweredBefore = false;
    {
        const BufferLockWatch watch([&] {
            if (storedBefore.empty()) { // the sender of the acknowledgement empties the buffer once more
                storedBefore = stored(handler());
                isLoweredBefore = handler().lowered != nullptr && !*handler().lowered;
            }
        });
        EXPECT_EQ(hand(handler(), usualMessage()), 0);
    }
    const std::vector<std::string> nothing(handler().storeSize);
    EXPECT_EQ(storedBefore, handler().storesBeforeClearing ? usualStore() : nothing);
    EXPECT_FALSE(isLoweredBefore);
    EXPECT_EQ(stored(handler()), usualStore());
    EXPECT_TRUE(handler().lowered == nullptr || !*handler().lowered);
}

INSTANTIATE_TEST_SUITE_P(Of, ReceivedClearing, testing::ValuesIn(allHandlers()), NameOfHandler());

} // namespace
