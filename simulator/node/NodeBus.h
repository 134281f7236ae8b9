#pragma once

#include "DeviceDescription.h"
#include "node/DeviceTree.h"
#include "node/NodeListener.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace pdasim {

/// The simulated system that devices are plugged into: sysfs, nodes and the loop that answers on them.
///
/// Every call needs the loop's lock.
class NodeBus {
public:
    using DeviceId = int;

    NodeBus();
    NodeBus(const NodeBus&) = delete;
    NodeBus& operator=(const NodeBus&) = delete;
    ~NodeBus();

    ServingLoop& loop() { return *m_loop; }
    DeviceTree& tree() { return m_tree; }

    /// Gives the device its place on the bus, which it keeps; it is not plugged in yet.
    DeviceId add(DeviceDescription description, NodeOwner& owner);
    /// Does nothing for a device that is plugged in.
    void plug(DeviceId device);
    /// Does nothing for a device that is not plugged in.
    void unplug(DeviceId device);
    void refuseOpening(DeviceId device, bool refuse);

    /// The device's node, the last one that it had if it is unplugged; null before the first plugging.
    HidrawNode* node(DeviceId device);
    /// "/dev/hidrawN", empty when the device is unplugged.
    std::string nodePath(DeviceId device) const;
    /// How many files are open on all nodes that the device has had.
    std::size_t openFiles(DeviceId device) const;
    std::size_t lostReports(DeviceId device) const;

private:
    struct Life {
        int number;
        std::shared_ptr<HidrawNode> node;
    };
    struct Device {
        DeviceDescription description;
        NodeOwner* owner;
        SysfsPaths paths;
        /// All pluggings in order; the device is plugged in while it has sysfs paths.
        std::vector<Life> lives;
    };

    int freeNumber() const;

    DeviceTree m_tree;
    std::unique_ptr<ServingLoop> m_loop;
    std::map<int, std::shared_ptr<NodeListener>> m_listeners;
    std::vector<Device> m_devices;
};

} // namespace pdasim
