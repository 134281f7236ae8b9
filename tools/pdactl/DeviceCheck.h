#pragma once

#include <string>
#include <vector>

namespace pdactl {

/** A hidraw node that belongs to no USB device: the library ends its process when it meets one. */
struct OrphanNode {
    std::string node; ///< "/dev/hidraw3"
    std::string name; ///< what the kernel calls the device
    std::string path; ///< where it stands under /sys
};

/** Looks through /sys, without the library and without udev. */
std::vector<OrphanNode> findOrphanNodes();

/** The one command that takes such a device away until the next restart or replugging. */
std::string commandToUnbind(const OrphanNode& orphan);

/** Throws a Failure that names the first such node and how to be rid of it. */
void requireNoOrphanNodes();

} // namespace pdactl
