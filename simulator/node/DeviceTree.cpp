#include "node/DeviceTree.h"

#include "node/FileDescriptor.h"

#include <umockdev.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace pdasim {

namespace {

/// Character device numbers of the local range, as hidraw has got one of in no particular order.
constexpr int kNodeMajor = 240;
/// As many as keep the order of their numbers when they are sorted as text.
constexpr int kPortsPerBus = 9;

std::string nodeName(int number) {
    return "hidraw" + std::to_string(number);
}

std::string deviceNumber(int number) {
    return std::to_string(kNodeMajor) + ":" + std::to_string(number);
}

std::string upperCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

/// As the kernel names a HID device: bus type, ids, a running number.
std::string hidName(const DeviceDescription& description, int number) {
    std::array<char, 16> running{};
    (void)std::snprintf(running.data(), running.size(), "%04X", static_cast<unsigned>(number) + 1U);
    return (description.hasUsbParent ? "0003:" : "0005:") + upperCase(description.vendorId) + ":" +
           upperCase(description.productId) + "." + running.data();
}

std::vector<std::string> usbAttributes(const DeviceDescription& description) {
    std::vector<std::string> attributes = {"idVendor", description.vendorId, "idProduct",
                                           description.productId};
    const auto add = [&attributes](const char* name, const std::optional<std::string>& value) {
        if (value) {
            attributes.insert(attributes.end(), {name, *value});
        }
    };
    add("manufacturer", description.manufacturer);
    add("product", description.product);
    add("serial", description.serial);
    return attributes;
}

std::vector<gchar*> asArray(const std::vector<std::string>& texts) {
    std::vector<gchar*> array;
    array.reserve(texts.size() + 1);
    for (const std::string& text : texts) {
        array.push_back(const_cast<gchar*>(text.c_str()));
    }
    array.push_back(nullptr);
    return array;
}

std::string takeText(gchar* text) {
    if (text == nullptr) {
        throw std::runtime_error("the umockdev test bed refused a device");
    }
    std::string result = text;
    g_free(text);
    return result;
}

/// umockdev makes the process abort when it cannot make its folder.
void checkTemporaryFolder() {
    const char* folder = g_get_tmp_dir();
    if (::access(folder, W_OK | X_OK) != 0) {
        throw std::runtime_error(std::string("cannot make a folder in ") + folder + ": " +
                                 std::strerror(errno) + "; let TMPDIR name a folder that you may write to");
    }
}

} // namespace

struct DeviceTree::Handle {
    Handle() = default;
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() { g_object_unref(testBed); }

    UMockdevTestbed* testBed = umockdev_testbed_new();
};

DeviceTree::DeviceTree() {
    checkTemporaryFolder();
    m_handle = std::make_unique<Handle>();
    m_root = takeText(umockdev_testbed_get_root_dir(m_handle->testBed));
    // hidraw's class is there as soon as the module is loaded, devices or not.
    std::filesystem::create_directories(m_root + "/sys/class/hidraw");
    std::filesystem::create_directories(m_root + "/dev/.ptymap");
    std::filesystem::create_directories(m_root + "/ioctl/dev");
    if (::access("/dev/.ptymap", F_OK) != 0) {
        throw std::runtime_error("the process runs without libumockdev-preload: link it ahead of libc");
    }
}

DeviceTree::~DeviceTree() = default;

std::string DeviceTree::socketPath(int number) const {
    return m_root + "/ioctl/dev/" + nodeName(number);
}

std::string DeviceTree::addDevice(const std::string& subsystem, const std::string& name,
                                  const std::string& parent, const std::vector<std::string>& attributes,
                                  const std::vector<std::string>& properties) {
    return takeText(umockdev_testbed_add_devicev(m_handle->testBed, subsystem.c_str(), name.c_str(),
                                                 parent.empty() ? nullptr : parent.c_str(),
                                                 asArray(attributes).data(), asArray(properties).data()));
}

SysfsPaths DeviceTree::addParents(const DeviceDescription& description, int port, int number) {
    SysfsPaths paths;
    if (description.hasUsbParent) {
        const std::string bus = std::to_string(port / kPortsPerBus + 1);
        const std::string place = bus + "-" + std::to_string(port % kPortsPerBus + 1);
        paths.push_back(addDevice("usb", "pci0000:00/0000:00:14.0/usb" + bus + "/" + place, "",
                                  usbAttributes(description),
                                  {"SUBSYSTEM", "usb", "DEVTYPE", "usb_device", "DRIVER", "usb"}));
        paths.push_back(addDevice("usb", place + ":1.0", paths.back(), {"bInterfaceClass", "03"},
                                  {"SUBSYSTEM", "usb", "DEVTYPE", "usb_interface", "DRIVER", "usbhid"}));
        paths.push_back(addDevice("hid", hidName(description, number), paths.back(), {},
                                  {"SUBSYSTEM", "hid", "DRIVER", "hid-generic"}));
    } else {
        paths.push_back(addDevice("hid", "virtual/misc/uhid/" + hidName(description, number), "", {},
                                  {"SUBSYSTEM", "hid", "DRIVER", "hid-generic"}));
    }
    return paths;
}

SysfsPaths DeviceTree::add(const DeviceDescription& description, int port, int number,
                           const std::string& nodeFile) {
    SysfsPaths paths = addParents(description, port, number);
    redirectNode(number, nodeFile);
    // Tells the preloaded library that the pseudo-terminal behind the node is not to pass for a terminal.
    std::filesystem::remove(terminalEntry(nodeFile));
    std::filesystem::create_symlink(deviceNumber(number), terminalEntry(nodeFile));
    const std::string name = nodeName(number);
    paths.push_back(addDevice("hidraw", "hidraw/" + name, paths.back(), {"dev", deviceNumber(number)},
                              {"SUBSYSTEM", "hidraw", "DEVNAME", "/dev/" + name, "MAJOR",
                               std::to_string(kNodeMajor), "MINOR", std::to_string(number)}));
    for (const std::string& path : paths) {
        announce(path, "add");
    }
    return paths;
}

void DeviceTree::remove(const SysfsPaths& paths, int number, const std::string& nodeFile) {
    std::filesystem::remove(m_root + "/dev/" + nodeName(number));
    std::filesystem::remove(terminalEntry(nodeFile));
    for (auto path = paths.rbegin(); path != paths.rend(); ++path) {
        announce(*path, "remove");
        umockdev_testbed_remove_device(m_handle->testBed, path->c_str());
    }
    std::filesystem::create_directories(m_root + "/sys/class/hidraw");
}

void DeviceTree::redirectNode(int number, const std::string& file) {
    const std::string node = m_root + "/dev/" + nodeName(number);
    const std::string fresh = node + ".new";
    std::filesystem::remove(fresh);
    std::filesystem::create_symlink(file, fresh);
    std::filesystem::rename(fresh, node);
}

std::string DeviceTree::terminalEntry(const std::string& nodeFile) const {
    std::string name = nodeFile;
    std::replace(name.begin(), name.end(), '/', '_');
    return m_root + "/dev/.ptymap/" + name;
}

void DeviceTree::addDanglingEntry(const std::string& name) {
    std::filesystem::create_symlink("../../devices/gone/hidraw/" + name,
                                    m_root + "/sys/class/hidraw/" + name);
}

void DeviceTree::announce(const std::string& path, const char* action) {
    umockdev_testbed_uevent(m_handle->testBed, path.c_str(), action);
}

} // namespace pdasim
