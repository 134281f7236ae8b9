#include "node/NodePort.h"

#include <utility>

namespace pdasim {

NodePort::NodePort(NodeBus& bus, DeviceDescription description)
    : m_bus(bus), m_description(std::move(description)) {
}

void NodePort::setOwner(NodeOwner& owner) {
    m_device = m_bus.add(m_description, owner);
}

void NodePort::schedule(Clock::time_point due, std::function<void()> action) {
    m_bus.server().schedule(this, due, std::move(action));
}

void NodePort::send(const std::vector<std::string>& reports) {
    if (HidrawNode* node = m_bus.node(m_device); node != nullptr) {
        node->send(reports);
        if (node->nextTransfer()) {
            m_bus.server().wake();
        }
    }
}

} // namespace pdasim
