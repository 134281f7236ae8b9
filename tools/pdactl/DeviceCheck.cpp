#include "DeviceCheck.h"

#include "Failure.h"

#include <filesystem>
#include <fstream>
#include <system_error>

namespace pdactl {

namespace {

namespace fs = std::filesystem;

constexpr const char* HidrawClass = "/sys/class/hidraw";

/** The value of a line "KEY=value" in a device's uevent file. */
std::string ueventValue(const fs::path& device, const std::string& key) {
    std::ifstream file(device / "uevent");
    for (std::string line; std::getline(file, line);) {
        if (line.rfind(key + "=", 0) == 0) {
            return line.substr(key.size() + 1);
        }
    }
    return {};
}

bool hasUsbParent(const fs::path& device) {
    for (fs::path parent = device; parent.has_relative_path() && parent != "/sys";
         parent = parent.parent_path()) {
        if (ueventValue(parent, "DEVTYPE") == "usb_device") {
            return true;
        }
    }
    return false;
}

} // namespace

std::vector<OrphanNode> findOrphanNodes() {
    std::vector<OrphanNode> orphans;
    std::error_code missing;
    for (const fs::directory_entry& entry : fs::directory_iterator(HidrawClass, missing)) {
        std::error_code gone;
        const fs::path device = fs::canonical(entry.path(), gone);
        if (!gone && !hasUsbParent(device)) {
            const fs::path hid = fs::canonical(device / "device", gone);
            orphans.push_back(
                {"/dev/" + entry.path().filename().string(), ueventValue(hid, "HID_NAME"), hid});
        }
    }
    return orphans;
}

std::string commandToUnbind(const OrphanNode& orphan) {
    const fs::path hid(orphan.path);
    return "echo " + hid.filename().string() + " | sudo tee " + orphan.path + "/driver/unbind";
}

void requireNoOrphanNodes() {
    const std::vector<OrphanNode> orphans = findOrphanNodes();
    if (!orphans.empty()) {
        const OrphanNode& first = orphans.front();
        throw Failure(LocalFailure, first.node + " (" + (first.name.empty() ? "unnamed" : first.name) +
                                        ") belongs to no USB device, and the library ends every program that "
                                        "meets such a node. Disconnect it, or run:\n  " +
                                        commandToUnbind(first));
    }
}

} // namespace pdactl
