#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace pdasim {

/// What a USB device with one HID interface tells the system about itself. An absent text has no sysfs file.
struct DeviceDescription {
    std::string vendorId = "1209";
    std::string productId = "0001";
    std::optional<std::string> manufacturer = "Simulated terminals";
    std::optional<std::string> product = "Handheld terminal";
    std::optional<std::string> serial = "SIM0000001";
    /// False for a node that hangs off something else, as that of a Bluetooth keyboard does.
    bool hasUsbParent = true;
};

/// A vendor-defined HID device: N bytes in, N out, no report ids.
std::string reportDescriptor(std::size_t reportSize);

} // namespace pdasim
