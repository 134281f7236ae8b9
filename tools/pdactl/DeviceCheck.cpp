#include "DeviceCheck.h"

#include "Failure.h"
#include "ShellQuoting.h"

#include <algorithm>
#include <filesystem>

namespace pdactl {

std::vector<HidNode> findOrphanNodes() {
    std::vector<HidNode> nodes = findHidNodes();
    nodes.erase(
        std::remove_if(nodes.begin(), nodes.end(), [](const HidNode& node) { return !node.usbPath.empty(); }),
        nodes.end());
    return nodes;
}

std::string commandToUnbind(const HidNode& node) {
    const std::string hid = std::filesystem::path(node.path).filename();
    return "echo " + shellWord(hid) + " | sudo tee " + shellWord(node.path + "/driver/unbind");
}

std::string describeOrphan(const HidNode& orphan) {
    return orphan.node + " (" + (orphan.name.empty() ? "unnamed" : orphan.name) +
           ") belongs to no USB device, and the library ends every program that meets such a node";
}

void requireNoOrphanNodes() {
    const std::vector<HidNode> orphans = findOrphanNodes();
    if (!orphans.empty()) {
        throw Failure(LocalFailure, describeOrphan(orphans.front()) + ". Disconnect it, or run:\n  " +
                                        commandToUnbind(orphans.front()));
    }
}

} // namespace pdactl
