#pragma once

#include "ServingLoop.h"
#include "usbip/UsbIpPort.h"
#include "usbip/Vhci.h"

#include <chrono>
#include <map>
#include <string>

namespace pdasim::usbip {

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
