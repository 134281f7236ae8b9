#pragma once

#include <string>

/// Makes one allocation fail: by the library, or by Qt or the C++ library on its behalf, in any thread of the
/// process. In programs that contain FailingMemory.cpp, and not for the sanitizers, which allocate
/// themselves.
///
/// The C library's and libudev's own are left alone: what they do without memory is not the library's matter.
class FailingMemory {
public:
    /// The `number`-th allocation from now on fails; the first is number 1.
    explicit FailingMemory(int number);
    ~FailingMemory();
    FailingMemory(const FailingMemory&) = delete;
    FailingMemory& operator=(const FailingMemory&) = delete;

    /// True once an allocation has failed.
    static bool happened();

    /// From now on every allocation of the process fails for which this says so; none where it is null.
    static void refuse(bool (*isRefused)());
};
