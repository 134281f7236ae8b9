#pragma once

#include <string>
#include <vector>

namespace pdactl {

/// A hidraw node as /sys tells of it.
struct HidNode {
    std::string node;     ///< "/dev/hidraw3"
    std::string name;     ///< what the kernel calls the device
    std::string path;     ///< of its HID device under /sys
    std::string usbPath;  ///< of the USB device that it belongs to; empty without one
    std::string vendorId; ///< of that device
    std::string productId;
};

/// Looks through /sys, without the library and without udev. In the order in which udev lists them.
std::vector<HidNode> findHidNodes();

/// Compares ids as the library does: without regard to case; an empty one equals nothing.
bool hasIds(const HidNode& node, const std::string& vendorId, const std::string& productId);

/// Nodes that belong to no USB device: the library ends its process when it meets one.
std::vector<HidNode> findOrphanNodes();

/// The one command that takes a node away until the next restart or replugging.
std::string commandToUnbind(const HidNode& node);

/// What is the matter with such a node.
std::string describeOrphan(const HidNode& orphan);

/// Throws a Failure that names the first such node and how to be rid of it.
void requireNoOrphanNodes();

} // namespace pdactl
