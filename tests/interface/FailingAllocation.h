#pragma once

#include <gtest/gtest.h>
#include <string>

/// Makes one allocation by `new` fail, in this thread: in programs that contain FailingAllocation.cpp.
///
/// Those that Qt makes inside are left alone, because Qt itself does not survive their failure.
class FailingAllocation {
public:
    /// The `number`-th allocation from now on throws std::bad_alloc; the first is number 1.
    explicit FailingAllocation(int number);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    /// True once an allocation has failed.
    bool happened() const;
};

/// Makes a call with its first allocation failing, then with its second, until it needs no more. Each is
/// prepared, and its result is checked.
template <typename Prepare, typename Call, typename Check>
void failEachAllocation(const Prepare& prepare, const Call& call, const Check& check) {
    bool happened = true;
    for (int number = 1; happened; ++number) {
        ASSERT_LT(number, 100000);
        SCOPED_TRACE("with allocation " + std::to_string(number) + " failing");
        prepare();
        int result = -99;
        {
            const FailingAllocation failing(number);
            result = call();
            happened = failing.happened();
        }
        check(result);
        ASSERT_FALSE(testing::Test::HasFailure());
    }
}
