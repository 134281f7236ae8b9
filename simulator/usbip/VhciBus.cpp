#include "usbip/VhciBus.h"

#include "node/FileDescriptor.h"
#include "usb/SystemTree.h"
#include "usbip/Connection.h"

#include <linux/netlink.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <memory>
#include <utility>

namespace pdasim::usbip {

namespace {

/// What the kernel tells of devices that come and go.
FileDescriptor listenToTheKernel() {
    FileDescriptor socket(
        ::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_KOBJECT_UEVENT));
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = 1;
    if (!socket.isOpen() ||
        ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        throwSystemError("cannot listen to the kernel's events");
    }
    return socket;
}

} // namespace

void VhciBus::plug(UsbIpPort& port) {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throwSystemError("cannot create a socket pair");
    }
    FileDescriptor ours(ends[0]);
    const FileDescriptor kernels(ends[1]);
    m_attached[&port] = m_vhci.attach(port.device(), kernels.get());
    const auto connection = std::make_shared<Connection>(m_loop, std::move(ours));
    connection->serve(port);
    m_loop.add(connection);
}

void VhciBus::unplug(UsbIpPort& port) {
    // The end of the connection alone would do it too, but in the kernel's own time.
    m_vhci.detach(m_attached.at(&port));
    m_attached.erase(&port);
}

void VhciBus::hostLeft(UsbIpPort& port) {
    m_attached.erase(&port);
    port.setUnplugged();
}

std::string VhciBus::placeOf(const UsbIpPort& port) const {
    const unsigned number = m_attached.at(&port);
    const std::string node = m_vhci.nodeOf(number, port.device());
    return node.empty() ? "port " + std::to_string(number) + " of vhci_hcd" : deviceFolder() + "/" + node;
}

bool VhciBus::allHaveNodes() const {
    const std::lock_guard lock(m_loop.mutex());
    return std::all_of(m_attached.begin(), m_attached.end(), [this](const auto& entry) {
        return !m_vhci.nodeOf(entry.second, entry.first->device()).empty();
    });
}

bool VhciBus::waitForNodes(std::chrono::milliseconds limit) const {
    const FileDescriptor events = listenToTheKernel();
    const auto end = ServingLoop::Clock::now() + limit;
    // Looked for only after listening has begun: what comes in between is not missed.
    while (!allHaveNodes()) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(end - ServingLoop::Clock::now()).count();
        pollfd watched = {events.get(), POLLIN, 0};
        if (left <= 0 || ::poll(&watched, 1, static_cast<int>(left)) <= 0) {
            return allHaveNodes();
        }
        std::array<char, 8192> news{};
        (void)::recv(events.get(), news.data(), news.size(), 0);
    }
    return true;
}

} // namespace pdasim::usbip
