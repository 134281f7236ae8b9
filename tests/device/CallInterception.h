#pragma once

#include <functional>
#include <string>

namespace pdalink::test {

/// Lets a test step in before system calls of the code under test, or make them fail, in the calling thread.
///
/// Every thread of the process runs into these, also the simulated devices' and libraries'.
struct Interception {
    /// Makes udev_new fail.
    bool noUdev = false;
    /// Before udev_device_new_from_syspath, with the path; true makes it fail.
    std::function<bool(const std::string&)> newDevice;
    /// Before udev_device_get_parent_with_subsystem_devtype, with the device's path; true makes it fail.
    std::function<bool(const std::string&)> parentLookup;
    /// Before open(2) of this path.
    std::string openedPath;
    std::function<void()> openFile;
    /// Before write(2) to and close(2) of this descriptor.
    int descriptor = -1;
    std::function<void()> writeFile;
    std::function<void()> closeFile;
    /// Before poll(2) of nothing, which is how the code under test sleeps while it waits for a thread's end.
    std::function<void()> rest;
    /// The error with which pthread_create fails; 0 lets it through.
    std::function<int()> createThread;
};

/// Replaces what is intercepted, from now on and in all threads.
void intercept(Interception interception);
void interceptNothing();

} // namespace pdalink::test
