#pragma once

#include "DeviceDescription.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace pdasim {

class NodeBus;
class NodeOwner;
class NodePort;

/// A simulated system of devices: what this process, and every program started with environment(), finds
/// under /sys and /dev. A process has one at a time.
class TestBed {
public:
    using DeviceId = int;

    TestBed();
    TestBed(const TestBed&) = delete;
    TestBed& operator=(const TestBed&) = delete;
    /// Unplugs everything. Clients that still have a node open find it gone, as after any unplugging.
    ~TestBed();

    /// Plugs in a device that is not a terminal: its node can be opened, takes every write and never answers.
    DeviceId addDevice(const DeviceDescription& description);
    void unplug(DeviceId device);
    void replug(DeviceId device);
    /// "/dev/hidrawN"; empty while the device is unplugged.
    std::string nodePath(DeviceId device) const;

    /// An entry of the hidraw class that leads to no device.
    void addDanglingEntry(const std::string& name);

    const std::string& rootDirectory() const;
    /// The variables with which another program sees this test bed.
    std::map<std::string, std::string> environment() const;

private:
    friend class SimulatedTerminal;

    NodePort& port(DeviceId device) const { return *m_devices.at(static_cast<std::size_t>(device)); }

    std::unique_ptr<NodeOwner> m_owner;
    std::unique_ptr<NodeBus> m_bus;
    std::vector<std::unique_ptr<NodePort>> m_devices;
};

} // namespace pdasim
