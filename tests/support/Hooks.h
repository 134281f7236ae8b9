#pragma once

#include <functional>
#include <string>

namespace pdalink::test {

/**
 * Lets a test step in between two system calls of the code under test, in its thread.
 *
 * Works in programs that link pdalink_test_hooks: their definitions of the functions named here come ahead of
 * the real ones, which they call afterwards.
 */
struct Hooks {
    /** Before udev_device_new_from_syspath, with the path. */
    std::function<void(const std::string&)> newDevice;
    /** Before udev_device_get_parent_with_subsystem_devtype, with the device's path. */
    std::function<void(const std::string&)> parentLookup;
    /** Before open(2), with the path. */
    std::function<void(const std::string&)> openFile;
};

/** Sets the hooks; they are not called before. Not to be changed while the code under test runs. */
void setHooks(Hooks hooks);

} // namespace pdalink::test
