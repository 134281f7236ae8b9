#include "node/NodeBus.h"

#include <set>

namespace pdasim {

NodeBus::~NodeBus() {
    {
        const std::lock_guard lock(m_loop->mutex());
        for (const auto& [number, listener] : m_listeners) {
            m_loop->remove(listener.get());
        }
    }
    // Clients that still have a node open have to be told that their device is gone.
    ServingLoop::endWhenUnused(std::move(m_loop));
}

NodeLife NodeBus::begin(std::shared_ptr<HidrawNode> node) {
    const int number = freeNumber();
    std::shared_ptr<NodeListener>& listener = m_listeners[number];
    if (listener == nullptr) {
        listener = std::make_shared<NodeListener>(*m_loop, m_tree.socketPath(number));
        m_loop->add(listener);
    }
    listener->setNode(node);
    m_lives.push_back({number, std::move(node)});
    return m_lives.back();
}

int NodeBus::freeNumber() const {
    std::set<int> taken;
    for (const NodeLife& life : m_lives) {
        // A number is not given out again while somebody still has the old node open.
        if (life.node->owner() != nullptr || life.node->openFiles() > 0) {
            taken.insert(life.number);
        }
    }
    int number = 0;
    while (taken.count(number) != 0) {
        ++number;
    }
    return number;
}

void NodePort::setOwner(NodeOwner& owner) {
    m_owner = &owner;
    m_place = m_bus.newPlace();
}

void NodePort::plug() {
    if (m_paths.empty()) {
        m_lives.push_back(m_bus.begin(std::make_shared<HidrawNode>(loop(), *m_owner, m_description)));
        const auto& [number, node] = m_lives.back();
        m_paths = m_bus.tree().add(m_description, m_place, number, node->filePath());
    }
}

void NodePort::unplug() {
    if (m_paths.empty()) {
        return;
    }
    const auto& [number, node] = m_lives.back();
    node->unplug();
    m_bus.tree().remove(m_paths, number, node->filePath());
    m_bus.end(m_lives.back());
    m_paths.clear();
    node->hangUp();
}

void NodePort::send(const std::vector<std::string>& reports) {
    if (!m_lives.empty()) {
        m_lives.back().node->send(reports);
    }
}

std::string NodePort::place() const {
    return m_paths.empty() ? std::string() : "/dev/hidraw" + std::to_string(m_lives.back().number);
}

std::size_t NodePort::openFiles() const {
    std::size_t files = 0;
    for (const NodeLife& life : m_lives) {
        files += life.node->openFiles();
    }
    return files;
}

void NodePort::refuseOpening(bool refuse) {
    if (!m_paths.empty()) {
        const auto& [number, node] = m_lives.back();
        node->setRefusesOpening(refuse);
        // A socket cannot be opened as a file, not even by root.
        m_bus.tree().redirectNode(number, refuse ? m_bus.tree().socketPath(number) : node->filePath());
    }
}

std::size_t NodePort::lostReports() const {
    std::size_t lost = 0;
    for (const NodeLife& life : m_lives) {
        lost += life.node->lostReports();
    }
    return lost;
}

} // namespace pdasim
