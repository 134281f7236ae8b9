#pragma once

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
