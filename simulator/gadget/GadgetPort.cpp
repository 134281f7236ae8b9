#include "gadget/GadgetPort.h"

#include "System.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace pdasim {

namespace {

/// Longer than any report of a device.
constexpr std::size_t kMaxRead = 4096;
constexpr const char* kSetUp = "pdasim gadget --script | sudo sh";

/// Whether the kernel's HID function has made it, if it is there at all: anything else is not to be opened.
void checkNode(const std::string& path) {
    struct stat information {};
    if (::stat(path.c_str(), &information) != 0) {
        return;
    }
    const std::string number =
        std::to_string(major(information.st_rdev)) + ":" + std::to_string(minor(information.st_rdev));
    std::error_code unknown;
    const auto subsystem =
        std::filesystem::read_symlink(sysFolder() + "/dev/char/" + number + "/subsystem", unknown);
    if (!S_ISCHR(information.st_mode) || subsystem.filename() != "hidg") {
        throw std::runtime_error(path + " is not the node of a HID gadget; this sets one up: " + kSetUp);
    }
}

FileDescriptor openNode(const std::string& path) {
    checkNode(path);
    FileDescriptor node(::open(path.c_str(), O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!node.isOpen()) {
        std::string reason = "cannot open " + path + ": " + std::strerror(errno);
        if (errno == EACCES) {
            reason += "; this gives the permission: sudo chown " + nameOfUser() + " " + path;
        } else if (errno == ENOENT) {
            reason += std::string("; this sets it up: ") + kSetUp;
        }
        throw std::runtime_error(reason);
    }
    return node;
}

} // namespace

/// Reads what the host has sent, and writes what it is to fetch.
class GadgetPort::NodeChannel : public Channel {
public:
    NodeChannel(FileDescriptor node, GadgetPort& port) : m_node(std::move(node)), m_port(port) {}

    int descriptor() const override { return m_node.get(); }
    short events() const override {
        return static_cast<short>(m_port.host().front() == nullptr ? POLLIN : POLLIN | POLLOUT);
    }
    bool handle(short events) override {
        const bool readable = (events & (POLLIN | POLLHUP | POLLERR)) != 0;
        if ((readable && !receive()) || ((events & POLLOUT) != 0 && !deliver())) {
            m_port.nodeEnded();
            return false;
        }
        return true;
    }
    /// The device has to be free before it can be unbound.
    void close() { m_node.reset(); }

private:
    /// False when the node has gone.
    bool receive() {
        std::array<char, kMaxRead> bytes{};
        const ssize_t got = ::read(m_node.get(), bytes.data(), bytes.size());
        if (got > 0) {
            (void)m_port.host().take({bytes.data(), static_cast<std::size_t>(got)});
        }
        return got > 0 || (got < 0 && (errno == EAGAIN || errno == EINTR));
    }

    bool deliver() {
        while (const std::string* report = m_port.host().front()) {
            const bool written = ::write(m_node.get(), report->data(), report->size()) >= 0;
            // Without a host that has set the device up nobody fetches reports.
            if (!written && errno != ESHUTDOWN) {
                return errno == EAGAIN || errno == EINTR;
            }
            m_port.host().pop();
        }
        return true;
    }

    FileDescriptor m_node;
    GadgetPort& m_port;
};

GadgetPort::GadgetPort(ServingLoop& loop, Place place, std::size_t reportSize)
    : UsbPort(loop, reportSize, reportSize, HostSide::Openings::Unseen), m_place(std::move(place)) {
}

void GadgetPort::setUp() {
    if (m_gadget) {
        m_gadget->bind();
    } else {
        m_gadget.emplace(m_place.device, host().reportSize(), m_place.controller);
        m_place.node = m_gadget->node();
    }
}

void GadgetPort::plug() {
    if (m_channel != nullptr) {
        return;
    }
    if (m_gadget || m_place.node.empty()) {
        setUp();
    }
    m_channel = std::make_shared<NodeChannel>(openNode(m_place.node), *this);
    host().setListening(true);
    loop().add(m_channel);
}

void GadgetPort::unplug() {
    if (m_channel == nullptr) {
        return;
    }
    m_channel->close();
    loop().remove(m_channel.get());
    nodeEnded();
    if (m_gadget) {
        m_gadget->unbind();
    }
}

void GadgetPort::nodeEnded() {
    m_channel.reset();
    host().reset();
}

void GadgetPort::send(const std::vector<std::string>& reports) {
    host().queue(reports);
    loop().wake();
}

std::string GadgetPort::place() const {
    if (m_channel == nullptr) {
        return {};
    }
    return m_gadget ? m_place.node + " of " + m_gadget->controller() : m_place.node;
}

} // namespace pdasim
