#pragma once

#include "ServingLoop.h"
#include "usbip/Protocol.h"
#include "usbip/UsbIpPort.h"

#include <chrono>
#include <map>
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

/// Attaches terminals to this machine's kernel, which makes real devices of them.
class VhciBus : public Bus {
public:
    VhciBus(ServingLoop& loop, Vhci vhci) : m_loop(loop), m_vhci(std::move(vhci)) {}

    void plug(UsbIpPort& port) override;
    void unplug(UsbIpPort& port) override;
    /// The kernel has let the device go: somebody has detached it.
    void hostLeft(UsbIpPort& port) override;
    std::string placeOf(const UsbIpPort& port) const override;

    /// Waits until the kernel has made nodes for all terminals that are plugged in; false when the time is
    /// over. Without the lock.
    bool waitForNodes(std::chrono::milliseconds limit) const;

private:
    bool allHaveNodes() const;

    ServingLoop& m_loop;
    Vhci m_vhci;
    /// The number of the kernel's port that each is at.
    std::map<const UsbIpPort*, unsigned> m_attached;
};

} // namespace pdasim::usbip
