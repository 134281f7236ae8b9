#include "usbip/VhciBus.h"

#include "System.h"
#include "node/FileDescriptor.h"
#include "usbip/Connection.h"

#include <fcntl.h>
#include <glob.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

namespace pdasim::usbip {

namespace {

/// As sysfs writes the state of a port without a device.
constexpr std::string_view kFree = "004";
/// The columns after it are of no interest.
constexpr std::string_view kHubForThisSpeed = "hs";
/// A controller has a hub of such ports, and one of as many for faster devices.
constexpr unsigned kPortsPerHub = 8;
constexpr unsigned kPortsPerController = 2 * kPortsPerHub;
/// Somebody else may take the port between the look and the attachment.
constexpr int kAttempts = 16;
/// The kernel takes a few hundred milliseconds for a node.
constexpr std::chrono::milliseconds kLookEvery(20);

std::string readAll(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// 0, or the errno with which writing in one piece failed.
int writeAttribute(const std::string& path, const std::string& text) {
    const FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
    const bool written =
        file.isOpen() && ::write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
    return written ? 0 : errno;
}

[[noreturn]] void failWithoutPermission(const std::string& folder) {
    throw std::runtime_error("no permission to attach devices; this gives it: sudo sh -c 'cd " + folder +
                             " && chgrp " + groupOfUser() + " attach detach && chmod 0220 attach detach'");
}

std::string upperCaseId(std::string digits) {
    std::transform(digits.begin(), digits.end(), digits.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return digits;
}

std::string firstMatch(const std::string& pattern) {
    glob_t matches{};
    std::string first;
    if (::glob(pattern.c_str(), 0, nullptr, &matches) == 0) {
        first = matches.gl_pathv[0];
    }
    ::globfree(&matches);
    return first;
}

} // namespace

std::optional<unsigned> freeVhciPort(std::string_view status) {
    std::istringstream lines{std::string(status)};
    std::string line;
    while (std::getline(lines, line)) {
        std::istringstream columns(line);
        std::string hub;
        unsigned port = 0;
        std::string state;
        if (columns >> hub >> port >> state && hub == kHubForThisSpeed && state == kFree) {
            return port;
        }
    }
    return std::nullopt;
}

Vhci::Vhci(const std::string& sysFolder)
    : m_platform(sysFolder + "/devices/platform/"), m_folder(m_platform + "vhci_hcd.0") {
    if (!std::filesystem::exists(m_folder)) {
        throw std::runtime_error("the kernel's module vhci_hcd is not there; this loads it: sudo modprobe "
                                 "vhci_hcd");
    }
    for (const char* attribute : {"/attach", "/detach"}) {
        if (::access((m_folder + attribute).c_str(), W_OK) != 0) {
            failWithoutPermission(m_folder);
        }
    }
}

unsigned Vhci::freePort() const {
    // The first controller's status has no number.
    std::string path = m_folder + "/status";
    for (unsigned controller = 1; std::filesystem::exists(path); ++controller) {
        if (const auto port = freeVhciPort(readAll(path))) {
            return *port;
        }
        path = m_folder + "/status." + std::to_string(controller);
    }
    throw std::runtime_error("every port of vhci_hcd is taken; this frees the first one: sudo usbip detach "
                             "-p 0");
}

unsigned Vhci::attach(const OfferedDevice& device, int socket) const {
    int error = EBUSY;
    for (int attempt = 0; attempt < kAttempts && error == EBUSY; ++attempt) {
        const unsigned port = freePort();
        error = writeAttribute(m_folder + "/attach", std::to_string(port) + " " + std::to_string(socket) +
                                                         " " + std::to_string(device.id()) + " " +
                                                         std::to_string(USB_SPEED_FULL));
        if (error == 0) {
            return port;
        }
    }
    if (error == EACCES) {
        failWithoutPermission(m_folder);
    }
    throw std::runtime_error(std::string("vhci_hcd refuses the device: ") + std::strerror(error) +
                             "; this may tell why: sudo dmesg");
}

void Vhci::detach(unsigned port) const {
    (void)writeAttribute(m_folder + "/detach", std::to_string(port));
}

std::string Vhci::nodeOf(unsigned port, const OfferedDevice& device) const {
    const std::string place = "*-" + std::to_string(port % kPortsPerHub + 1);
    const std::string ids =
        upperCaseId(device.description.vendorId) + ":" + upperCaseId(device.description.productId);
    const std::string node =
        firstMatch(m_platform + "vhci_hcd." + std::to_string(port / kPortsPerController) + "/usb*/" + place +
                   "/" + place + ":1.0/0003:" + ids + ".*/hidraw/hidraw*");
    return node.substr(node.rfind('/') + 1);
}

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
    const auto end = ServingLoop::Clock::now() + limit;
    while (!allHaveNodes() && ServingLoop::Clock::now() < end) {
        std::this_thread::sleep_for(kLookEvery);
    }
    return allHaveNodes();
}

} // namespace pdasim::usbip
