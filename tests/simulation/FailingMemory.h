#pragma once

namespace pdalink::test {

/// From now on those allocations of the process fail for which this says so: the C library's and Qt's, too.
/// None where it is null. For programs that contain FailingMemory.cpp. The sanitizers have allocation
/// functions of their own, which never fail.
void refuseMemory(bool (*isRefused)());

/// Has Qt make what it makes once in a process. Without memory for that it leaves locks held for ever.
void initialiseQt();

} // namespace pdalink::test
