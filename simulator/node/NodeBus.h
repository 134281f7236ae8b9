#pragma once

#include "DeviceDescription.h"
#include "TerminalPort.h"
#include "node/DeviceTree.h"
#include "node/NodeListener.h"

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace pdasim {

/// One plugging of a device: hidrawN, and the node that is behind it until the device is unplugged.
struct NodeLife {
    int number;
    std::shared_ptr<HidrawNode> node;
};

/// The simulated system that devices are plugged into: sysfs, nodes and the loop that answers on them. It
/// outlives its devices.
///
/// Every call needs the loop's lock.
class NodeBus {
public:
    NodeBus() : m_loop(std::make_unique<ServingLoop>()) {}
    NodeBus(const NodeBus&) = delete;
    NodeBus& operator=(const NodeBus&) = delete;
    ~NodeBus();

    ServingLoop& loop() { return *m_loop; }
    DeviceTree& tree() { return m_tree; }

    /// The next place on the bus. Devices with smaller ones are enumerated first.
    int newPlace() { return m_places++; }
    /// Gives the node a number, and answers those who open that.
    NodeLife begin(std::shared_ptr<HidrawNode> node);
    /// Whoever opens the number from now on finds no device.
    void end(const NodeLife& life) { m_listeners.at(life.number)->setNode(nullptr); }

private:
    int freeNumber() const;

    DeviceTree m_tree;
    std::unique_ptr<ServingLoop> m_loop;
    std::map<int, std::shared_ptr<NodeListener>> m_listeners;
    std::vector<NodeLife> m_lives;
    int m_places = 0;
};

/// A device on the bus of a test bed.
class NodePort : public TerminalPort {
public:
    NodePort(NodeBus& bus, DeviceDescription description)
        : TerminalPort(bus.loop()), m_bus(bus), m_description(std::move(description)) {}

    void setOwner(NodeOwner& owner) override;
    void plug() override;
    void unplug() override;
    void send(const std::vector<std::string>& reports) override;
    std::string place() const override;
    /// On all nodes that the device has had.
    std::size_t openFiles() const override;

    void refuseOpening(bool refuse);
    std::size_t lostReports() const;

private:
    NodeBus& m_bus;
    DeviceDescription m_description;
    NodeOwner* m_owner = nullptr;
    int m_place = 0;
    /// The device is plugged in while it has some.
    SysfsPaths m_paths;
    std::vector<NodeLife> m_lives;
};

} // namespace pdasim
