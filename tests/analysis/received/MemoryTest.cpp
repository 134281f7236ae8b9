#include "ReceivedFixture.h"
#include "tests/interface/FailingAllocation.h"

namespace {

/// Messages that come when memory has run out.
using ReceivedOutOfMemory = ReceivedBy;

TEST_P(ReceivedOutOfMemory, FailsInternallyWithTheTaskFlagDown) {
    int failures = 0;
    bool happened = true;
    for (int number = 1; happened; ++number) {
        ASSERT_LT(number, 1000);
        fillStore(handler(), "");
        m_PerformTasksYN = 0;
        std::string text = usualMessage();
        int result = -99;
        {
            const FailingAllocation failing(number);
            result = (analyser().*handler().receive)(text.data());
            happened = failing.happened();
        }
        EXPECT_TRUE(result == 0 || result == 1) << result << " with allocation " << number << " failing";
        EXPECT_EQ(m_PerformTasksYN, 0) << "with allocation " << number << " failing";
        failures += result;
    }
    EXPECT_GT(failures, 1);
    EXPECT_EQ(stored(handler()), usualStore()); // the last one was not disturbed
    terminal().takeViolations(); // acknowledgements that were not sent leave gaps in the numbers
}

INSTANTIATE_TEST_SUITE_P(Of, ReceivedOutOfMemory, testing::ValuesIn(allHandlers()), NameOfHandler());

} // namespace
