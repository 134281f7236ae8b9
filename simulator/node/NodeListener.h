#pragma once

#include "ServingLoop.h"
#include "node/HidrawNode.h"

#include <memory>
#include <string>

namespace pdasim {

/// Answers the clients that open hidrawN at a socket path, through every unplugging: a client that is just
/// opening the node must find the socket, or umockdev makes its process exit.
class NodeListener : public Listener {
public:
    NodeListener(ServingLoop& loop, const std::string& socketPath);

    /// The node that is hidrawN from now on; null for none.
    void setNode(std::shared_ptr<HidrawNode> node) { m_node = std::move(node); }

private:
    std::shared_ptr<HidrawNode> m_node;
};

} // namespace pdasim
