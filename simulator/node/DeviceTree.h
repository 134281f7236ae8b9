#pragma once

#include "DeviceDescription.h"

#include <memory>
#include <string>
#include <vector>

namespace pdasim {

/// The devices of a plugged-in device in sysfs, from the top downwards; the last one is the hidraw device.
using SysfsPaths = std::vector<std::string>;

/// The test bed's /sys and /dev.
///
/// A process has one at a time: the preloaded umockdev library finds it through the environment.
class DeviceTree {
public:
    DeviceTree();
    DeviceTree(const DeviceTree&) = delete;
    DeviceTree& operator=(const DeviceTree&) = delete;
    ~DeviceTree();

    const std::string& rootDirectory() const { return m_root; }
    /// Where clients that open hidrawN look for whoever answers them.
    std::string socketPath(int number) const;

    /// Makes a device appear as hidrawN whose node leads to the file, and announces it. Devices with smaller
    /// ports are enumerated first.
    SysfsPaths add(const DeviceDescription& description, int port, int number, const std::string& nodeFile);
    void remove(const SysfsPaths& paths, int number, const std::string& nodeFile);
    /// Lets the node lead somewhere else.
    void redirectNode(int number, const std::string& file);

    /// A class entry that leads nowhere, as left by a device that is just being removed.
    void addDanglingEntry(const std::string& name);

private:
    std::string addDevice(const std::string& subsystem, const std::string& name, const std::string& parent,
                          const std::vector<std::string>& attributes,
                          const std::vector<std::string>& properties);
    SysfsPaths addParents(const DeviceDescription& description, int port, int number);
    std::string terminalEntry(const std::string& nodeFile) const;
    void announce(const std::string& path, const char* action);

    /// umockdev's test bed; its header stays out of this one.
    struct Handle;
    std::unique_ptr<Handle> m_handle;
    std::string m_root;
};

} // namespace pdasim
