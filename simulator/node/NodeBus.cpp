#include "node/NodeBus.h"

#include <set>

namespace pdasim {

NodeBus::NodeBus() : m_loop(std::make_unique<ServingLoop>()) {
}

NodeBus::~NodeBus() {
    {
        const std::lock_guard lock(m_loop->mutex());
        for (std::size_t device = 0; device < m_devices.size(); ++device) {
            unplug(static_cast<DeviceId>(device));
        }
        for (const auto& [number, listener] : m_listeners) {
            m_loop->remove(listener.get());
        }
    }
    // Clients that still have a node open have to be told that their device is gone.
    ServingLoop::endWhenUnused(std::move(m_loop));
}

NodeBus::DeviceId NodeBus::add(DeviceDescription description, NodeOwner& owner) {
    m_devices.push_back({std::move(description), &owner, {}, {}});
    return static_cast<DeviceId>(m_devices.size()) - 1;
}

void NodeBus::plug(DeviceId device) {
    Device& entry = m_devices.at(static_cast<std::size_t>(device));
    if (!entry.paths.empty()) {
        return;
    }
    const int number = freeNumber();
    const auto node = std::make_shared<HidrawNode>(*m_loop, *entry.owner, entry.description);
    std::shared_ptr<NodeListener>& listener = m_listeners[number];
    if (listener == nullptr) {
        listener = std::make_shared<NodeListener>(*m_loop, m_tree.socketPath(number));
        m_loop->add(listener);
    }
    listener->setNode(node);
    entry.lives.push_back({number, node});
    entry.paths = m_tree.add(entry.description, device, number, node->filePath());
}

void NodeBus::unplug(DeviceId device) {
    Device& entry = m_devices.at(static_cast<std::size_t>(device));
    if (entry.paths.empty()) {
        return;
    }
    const Life& life = entry.lives.back();
    life.node->unplug();
    m_tree.remove(entry.paths, life.number, life.node->filePath());
    m_listeners.at(life.number)->setNode(nullptr);
    entry.paths.clear();
    life.node->hangUp();
}

void NodeBus::refuseOpening(DeviceId device, bool refuse) {
    const Device& entry = m_devices.at(static_cast<std::size_t>(device));
    if (entry.paths.empty()) {
        return;
    }
    const Life& life = entry.lives.back();
    life.node->setRefusesOpening(refuse);
    // A socket cannot be opened as a file, not even by root.
    m_tree.redirectNode(life.number, refuse ? m_tree.socketPath(life.number) : life.node->filePath());
}

HidrawNode* NodeBus::node(DeviceId device) {
    const Device& entry = m_devices.at(static_cast<std::size_t>(device));
    return entry.lives.empty() ? nullptr : entry.lives.back().node.get();
}

std::string NodeBus::nodePath(DeviceId device) const {
    const Device& entry = m_devices.at(static_cast<std::size_t>(device));
    return entry.paths.empty() ? std::string() : "/dev/hidraw" + std::to_string(entry.lives.back().number);
}

std::size_t NodeBus::openFiles(DeviceId device) const {
    std::size_t files = 0;
    for (const Life& life : m_devices.at(static_cast<std::size_t>(device)).lives) {
        files += life.node->openFiles();
    }
    return files;
}

std::size_t NodeBus::lostReports(DeviceId device) const {
    std::size_t lost = 0;
    for (const Life& life : m_devices.at(static_cast<std::size_t>(device)).lives) {
        lost += life.node->lostReports();
    }
    return lost;
}

int NodeBus::freeNumber() const {
    std::set<int> taken;
    for (const Device& device : m_devices) {
        for (const Life& life : device.lives) {
            // A number is not given out again while somebody still has the old node open.
            if (life.node->owner() != nullptr || life.node->openFiles() > 0) {
                taken.insert(life.number);
            }
        }
    }
    int number = 0;
    while (taken.count(number) != 0) {
        ++number;
    }
    return number;
}

} // namespace pdasim
