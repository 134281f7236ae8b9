#pragma once

#include "DeviceDescription.h"
#include "TerminalPort.h"
#include "node/DeviceTree.h"
#include "node/NodeListener.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
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

/// A place on the bus of a test bed.
class NodePort : public TerminalPort {
public:
    NodePort(NodeBus& bus, DeviceDescription description)
        : TerminalPort(bus.loop()), m_bus(bus), m_description(std::move(description)) {}

    void setOwner(NodeOwner& owner) override { m_device = m_bus.add(m_description, owner); }
    void plug() override { m_bus.plug(m_device); }
    void unplug() override { m_bus.unplug(m_device); }
    void send(const std::vector<std::string>& reports) override {
        if (HidrawNode* node = m_bus.node(m_device); node != nullptr) {
            node->send(reports);
        }
    }
    std::string place() const override { return m_bus.nodePath(m_device); }
    std::size_t openFiles() const override { return m_bus.openFiles(m_device); }

    void refuseOpening(bool refuse) { m_bus.refuseOpening(m_device, refuse); }
    std::size_t lostReports() const { return m_bus.lostReports(m_device); }

private:
    NodeBus& m_bus;
    DeviceDescription m_description;
    NodeBus::DeviceId m_device = 0;
};

} // namespace pdasim
