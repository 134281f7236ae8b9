#include "usbip/UsbIpPort.h"

#include "usb/Descriptors.h"
#include "usbip/Connection.h"

#include <utility>

namespace pdasim::usbip {

UsbIpPort::UsbIpPort(ServingLoop& loop, Bus& bus, OfferedDevice device, std::size_t reportSize)
    : UsbPort(loop, reportSize, packetSize(reportSize), HostSide::Openings::Seen),
      m_bus(bus),
      m_device(std::move(device)),
      m_control(m_device.description, host()) {
}

void UsbIpPort::plug() {
    if (!m_plugged) {
        m_bus.plug(*this);
        m_plugged = true;
    }
}

void UsbIpPort::unplug() {
    if (!m_plugged) {
        return;
    }
    m_plugged = false;
    m_bus.unplug(*this);
    if (const auto connection = std::exchange(m_connection, nullptr); connection != nullptr) {
        connection->close();
        loop().remove(connection.get());
    }
}

void UsbIpPort::send(const std::vector<std::string>& reports) {
    host().queue(reports);
    if (m_connection != nullptr) {
        m_connection->deliver();
    }
}

void UsbIpPort::detach() {
    m_connection.reset();
    m_bus.hostLeft(*this);
}

} // namespace pdasim::usbip
