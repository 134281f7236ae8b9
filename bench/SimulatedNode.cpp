#include "Node.h"

#include "SimulatedTerminal.h"

namespace pdalink::bench {

namespace {

/// The simulated terminal: one report a read, 64 bytes each, and a check of every message.
class SimulatedNode : public Node {
public:
    std::string path() const override { return m_terminal.nodePath(); }
    void hangUp() override { m_terminal.unplug(); }
    std::vector<std::string> complaints() const override { return m_terminal.violations(); }

private:
    pdasim::SimulatedTerminal m_terminal;
};

} // namespace

std::unique_ptr<Node> makeNode() {
    return std::make_unique<SimulatedNode>();
}

const char* nodeKind() {
    return "simulated terminal";
}

} // namespace pdalink::bench
