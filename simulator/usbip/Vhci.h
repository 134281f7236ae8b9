#pragma once

#include "usbip/Protocol.h"

#include <optional>
#include <string>
#include <string_view>

namespace pdasim::usbip {

/// A port of the kernel's virtual host controller that nothing is attached to, for a device of this speed.
std::optional<unsigned> freeVhciPort(std::string_view status);

/// The kernel's virtual host controller, the module vhci_hcd, as sysfs shows it.
class Vhci {
public:
    /// Throws std::runtime_error, with the command that helps, when the module or a permission is missing.
    explicit Vhci(const std::string& sysFolder);

    /// Attaches a device whose server is at the other end of the socket, and gives the port that it is at.
    /// Throws std::runtime_error when the kernel refuses.
    unsigned attach(const OfferedDevice& device, int socket) const;
    /// Without success when nothing is attached there any more.
    void detach(unsigned port) const;

    /// The name of the node that the kernel has made for the device, "hidraw0"; empty before that.
    std::string nodeOf(unsigned port, const OfferedDevice& device) const;

private:
    unsigned freePort() const;

    std::string m_platform;
    std::string m_folder;
};

} // namespace pdasim::usbip
