#include "HidNodes.h"

#include "Failure.h"
#include "Text.h"

#include <strings.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace pdactl {

namespace {

namespace fs = std::filesystem;

constexpr const char* kHidrawClass = "/sys/class/hidraw";

/// The value of a line "KEY=value" in a device's uevent file.
std::string ueventValue(const fs::path& device, const std::string& key) {
    std::ifstream file(device / "uevent");
    for (std::string line; std::getline(file, line);) {
        if (line.rfind(key + "=", 0) == 0) {
            return line.substr(key.size() + 1);
        }
    }
    return {};
}

std::string attribute(const fs::path& device, const char* name) {
    std::ifstream file(device / name);
    std::string value;
    std::getline(file, value);
    return value;
}

/// The USB device above, or an empty path.
fs::path usbParent(const fs::path& device) {
    for (fs::path parent = device; parent.has_relative_path() && parent != "/sys";
         parent = parent.parent_path()) {
        if (ueventValue(parent, "DEVTYPE") == "usb_device") {
            return parent;
        }
    }
    return {};
}

HidNode describe(const fs::path& device) {
    HidNode node;
    node.node = "/dev/" + device.filename().string();
    std::error_code gone;
    const fs::path hid = fs::canonical(device / "device", gone);
    node.path = hid;
    node.name = ueventValue(hid, "HID_NAME");
    const fs::path usb = usbParent(device);
    node.usbPath = usb;
    if (!usb.empty()) {
        node.vendorId = attribute(usb, "idVendor");
        node.productId = attribute(usb, "idProduct");
    }
    return node;
}

bool isSame(const std::string& wanted, const std::string& id) {
    return !wanted.empty() && ::strcasecmp(wanted.c_str(), id.c_str()) == 0;
}

} // namespace

std::vector<HidNode> findHidNodes() {
    std::vector<fs::path> devices;
    std::error_code missing;
    for (const fs::directory_entry& entry : fs::directory_iterator(kHidrawClass, missing)) {
        std::error_code gone;
        const fs::path device = fs::canonical(entry.path(), gone);
        if (!gone) {
            devices.push_back(device);
        }
    }
    // As texts: paths compare element by element, which is another order.
    std::sort(devices.begin(), devices.end(),
              [](const fs::path& left, const fs::path& right) { return left.native() < right.native(); });
    std::vector<HidNode> nodes;
    std::transform(devices.begin(), devices.end(), std::back_inserter(nodes), describe);
    return nodes;
}

bool hasIds(const HidNode& node, const std::string& vendorId, const std::string& productId) {
    return isSame(vendorId, node.vendorId) && isSame(productId, node.productId);
}

std::vector<HidNode> findOrphanNodes() {
    std::vector<HidNode> nodes = findHidNodes();
    nodes.erase(
        std::remove_if(nodes.begin(), nodes.end(), [](const HidNode& node) { return !node.usbPath.empty(); }),
        nodes.end());
    return nodes;
}

std::string commandToUnbind(const HidNode& node) {
    const std::string hid = fs::path(node.path).filename();
    return "echo " + shellWord(hid) + " | sudo tee " + shellWord(node.path + "/driver/unbind");
}

std::string describeOrphan(const HidNode& orphan) {
    return orphan.node + " (" + (orphan.name.empty() ? "unnamed" : orphan.name) +
           ") belongs to no USB device, and the library makes every program that meets such a node exit";
}

void requireNoOrphanNodes() {
    const std::vector<HidNode> orphans = findOrphanNodes();
    if (!orphans.empty()) {
        throw Failure(LocalFailure, describeOrphan(orphans.front()) + ". Disconnect it, or run:\n  " +
                                        commandToUnbind(orphans.front()));
    }
}

} // namespace pdactl
