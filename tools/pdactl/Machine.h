#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace pdactl {

/// One thing of this machine that was looked at.
struct Finding {
    std::string health; ///< "ok", "warning" or "problem"
    std::string check;  ///< one word, for scripts
    std::string text;
    std::string command{}; ///< that fixes it or shows more; empty when nothing is wrong
};

/// What the library will make of a PDAConfigure.ini.
struct IniFile {
    std::string vendorId;
    std::string productId;
    /// A line is longer than the library accepts: it makes the process exit.
    std::optional<Finding> danger;
};

IniFile readIni(const std::string& path);

/// Whether both ids are four hexadecimal digits, as /sys has them; no other text matches a device.
bool hasIds(const IniFile& ini);

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

/// The one command that takes a node away until the next restart or replugging.
std::string commandToUnbind(const HidNode& node);

/// The nodes that belong to no USB device: the library ends its process when it meets one.
std::vector<Finding> findOrphans();

/// Why something that is given to a group is closed to this user.
Finding missingMembership(const std::string& check, const std::string& refusal, gid_t group);

/// Whether a node may be read and written; else why not.
Finding examinePermissions(const std::string& node);

/// The other processes that have a node open, as /proc tells.
std::vector<Finding> examineUsers(const std::string& node);

/// Throws a Failure that names what would make the process exit, if there is anything, and how to be rid of
/// it.
void requireSafety(const std::string& ini);

} // namespace pdactl
