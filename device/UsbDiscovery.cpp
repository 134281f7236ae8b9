#include "device/UsbDiscovery.h"

#include "util/FileLog.h"

#include <cstdio>
#include <cstdlib>
#include <libudev.h>
#include <memory>
#include <optional>
#include <string>

namespace {

struct UdevRelease {
    void operator()(udev* context) const { udev_unref(context); }
    void operator()(udev_enumerate* enumeration) const { udev_enumerate_unref(enumeration); }
    void operator()(udev_device* device) const { udev_device_unref(device); }
};

template <typename Handle>
using UdevPointer = std::unique_ptr<Handle, UdevRelease>;

[[noreturn]] void endProcess(const char* reason) {
    std::printf("%s\n", reason);
    std::exit(1);
}

std::string orEmpty(const char* text) {
    return text != nullptr ? text : "";
}

/// The ids and texts that a USB device states of itself; empty where it states none.
struct UsbAttributes {
    explicit UsbAttributes(udev_device* device)
        : idVendor(orEmpty(udev_device_get_sysattr_value(device, "idVendor"))),
          idProduct(orEmpty(udev_device_get_sysattr_value(device, "idProduct"))),
          manufacturer(orEmpty(udev_device_get_sysattr_value(device, "manufacturer"))),
          product(orEmpty(udev_device_get_sysattr_value(device, "product"))),
          serial(orEmpty(udev_device_get_sysattr_value(device, "serial"))) {}

    std::string idVendor;
    std::string idProduct;
    std::string manufacturer;
    std::string product;
    std::string serial;
};

/// The manufacturer's text with its first "%s" replaced by the product's and every "%%" by "%". A device
/// chooses these texts, so they are never handed to printf as a format.
std::string manufacturerLine(const std::string& manufacturer, const std::string& product) {
    std::string line;
    bool replaced = false;
    for (std::size_t i = 0; i < manufacturer.size(); ++i) {
        const char next = i + 1 < manufacturer.size() ? manufacturer[i + 1] : '\0';
        if (manufacturer[i] == '%' && next == '%') {
            line += '%';
            ++i;
        } else if (manufacturer[i] == '%' && next == 's' && !replaced) {
            line += product;
            replaced = true;
            ++i;
        } else {
            line += manufacturer[i];
        }
    }
    return line;
}

void report(const UsbAttributes& usb) {
    const std::string ids = " VID/PID: " + usb.idVendor + " " + usb.idProduct + "\n";
    std::fputs(ids.c_str(), stdout);
    std::printf(" manufacturer: %s\n product:%s\n", usb.manufacturer.c_str(), usb.product.c_str());
    std::printf(" serial: %s\n", usb.serial.c_str());
    g_PDA_Log.AddLog(pdalink::Info, ids.c_str());
    g_PDA_Log.AddLog(pdalink::Info, manufacturerLine(usb.manufacturer, usb.product).c_str());
}

bool matches(const QString& id, const std::string& attribute) {
    return !id.isEmpty() && id.compare(QString::fromStdString(attribute), Qt::CaseInsensitive) == 0;
}

/// The node of the device at `path` if it is the terminal, empty when that has none; nothing for another
/// device.
std::optional<QString> nodeIfTerminal(udev* context, const char* path, const QString& vid,
                                      const QString& pid) {
    const UdevPointer<udev_device> device(udev_device_new_from_syspath(context, path));
    if (!device) {
        return {}; // unplugged since it was listed
    }
    const std::string node = orEmpty(udev_device_get_devnode(device.get()));
    std::printf("Device Node Path: %s\n", node.c_str());
    // The parent belongs to the device and is not released on its own.
    udev_device* parent = udev_device_get_parent_with_subsystem_devtype(device.get(), "usb", "usb_device");
    if (parent == nullptr) {
        if (!UdevPointer<udev_device>(udev_device_new_from_syspath(context, path))) {
            return {}; // unplugged since it was opened
        }
        endProcess("Unable to find parent usb device.");
    }
    const UsbAttributes usb(parent);
    report(usb);
    if (!matches(vid, usb.idVendor) || !matches(pid, usb.idProduct)) {
        return {};
    }
    return QString::fromStdString(node);
}

} // namespace

QString findUsbDevice(const QString& vid, const QString& pid) {
    const UdevPointer<udev> context(udev_new());
    if (!context) {
        endProcess("Can't create udev");
    }
    const UdevPointer<udev_enumerate> enumeration(udev_enumerate_new(context.get()));
    udev_enumerate_add_match_subsystem(enumeration.get(), "hidraw");
    udev_enumerate_scan_devices(enumeration.get());
    std::puts("****************");
    QString result;
    udev_list_entry* entry = nullptr;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(enumeration.get())) {
        std::puts("+++++++++++++++++");
        const auto node = nodeIfTerminal(context.get(), udev_list_entry_get_name(entry), vid, pid);
        if (node) {
            result = *node; // the walk goes on: of several interfaces with these ids the last one is used
        }
    }
    return result;
}
