#pragma once

#include "TerminalPort.h"
#include "node/NodeBus.h"

#include <utility>

namespace pdasim {

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
