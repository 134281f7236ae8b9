#include "node/NodeListener.h"

#include "node/PreloadLink.h"

#include <linux/hidraw.h>
#include <linux/input.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace pdasim {

namespace {

FileDescriptor listenAt(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        throw std::runtime_error("the test bed's path is too long for a socket: " + path +
                                 "; let TMPDIR name a shorter folder");
    }
    std::memcpy(&address.sun_path, path.c_str(), path.size() + 1);
    FileDescriptor listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!listener.isOpen() ||
        ::bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        ::listen(listener.get(), SOMAXCONN) != 0) {
        throwSystemError("cannot listen for clients of the node");
    }
    return listener;
}

template <typename Value>
std::string bytesOf(const Value& value) {
    return {reinterpret_cast<const char*>(&value), sizeof(value)};
}

__s16 idNumber(const std::string& text) {
    return static_cast<__s16>(std::strtoul(text.c_str(), nullptr, 16));
}

std::string deviceInformation(const DeviceDescription& description) {
    hidraw_devinfo information{};
    information.bustype = description.hasUsbParent ? BUS_USB : BUS_BLUETOOTH;
    information.vendor = idNumber(description.vendorId);
    information.product = idNumber(description.productId);
    return bytesOf(information);
}

std::string deviceName(const DeviceDescription& description) {
    return description.manufacturer.value_or("") + " " + description.product.value_or("");
}

/// A text goes out with its NUL, cut to the size that the client has room for.
void finishWithText(PreloadLink& link, const PreloadLink::Request& request, std::string text) {
    text.push_back('\0');
    text.resize(std::min<std::size_t>(text.size(), _IOC_SIZE(request.first)));
    link.finishWithMemory(request.second, text, static_cast<std::intptr_t>(text.size()));
}

void finishWithDescriptor(PreloadLink& link, const PreloadLink::Request& request) {
    const auto room = link.fetchMemory(request.second, sizeof(__u32));
    if (!room) {
        return;
    }
    __u32 size = 0;
    std::memcpy(&size, room->data(), sizeof(size));
    link.finishWithMemory(request.second + offsetof(hidraw_report_descriptor, value),
                          reportDescriptor(hidraw::kDefaultReportSize).substr(0, size), 0);
}

/// Answers one ioctl: those that ask a hidraw node about its device here, all others by the client itself.
/// Without a description the device is gone.
void serveIoctl(PreloadLink& link, const PreloadLink::Request& request,
                const DeviceDescription* description) {
    if (_IOC_TYPE(request.first) != 'H') {
        link.leaveToClient();
        return;
    }
    if (description == nullptr) {
        link.finish(-1, ENODEV);
        return;
    }
    const int descriptorSize = static_cast<int>(reportDescriptor(hidraw::kDefaultReportSize).size());
    switch (_IOC_NR(request.first)) {
    case _IOC_NR(HIDIOCGRDESCSIZE):
        link.finishWithMemory(request.second, bytesOf(descriptorSize), 0);
        break;
    case _IOC_NR(HIDIOCGRDESC):
        finishWithDescriptor(link, request);
        break;
    case _IOC_NR(HIDIOCGRAWINFO):
        link.finishWithMemory(request.second, deviceInformation(*description), 0);
        break;
    case _IOC_NR(HIDIOCGRAWNAME(0)):
        finishWithText(link, request, deviceName(*description));
        break;
    case _IOC_NR(HIDIOCGRAWPHYS(0)):
        finishWithText(link, request, "usb-simulated/input0");
        break;
    default:
        link.finish(-1, EINVAL);
        break;
    }
}

/// Lets other threads work while this one waits for a client.
class Unlocked {
public:
    explicit Unlocked(std::mutex& mutex) : m_mutex(mutex) { m_mutex.unlock(); }
    Unlocked(const Unlocked&) = delete;
    Unlocked& operator=(const Unlocked&) = delete;
    ~Unlocked() { m_mutex.lock(); }

private:
    std::mutex& m_mutex;
};

/// A file that a client has open, on a node or, where opening is refused, on none.
class OpenFile : public Channel {
public:
    OpenFile(ServingLoop& loop, FileDescriptor client, std::shared_ptr<HidrawNode> node)
        : m_loop(loop), m_link(std::move(client)), m_node(std::move(node)) {
        if (m_node != nullptr) {
            m_node->opened(this);
        }
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile() override {
        if (m_node != nullptr) {
            try {
                m_node->closed(this);
            } catch (const std::exception&) { // what could not be delivered now is with the next report
            }
        }
    }

    int descriptor() const override { return m_link.descriptor(); }
    short events() const override { return POLLIN; }
    bool handle(short /*events*/) override {
        const auto request = receive();
        if (!request) {
            return false;
        }
        switch (request->operation) {
        case PreloadLink::Operation::Read:
            read(*request);
            return true;
        case PreloadLink::Operation::Write:
            return write(*request);
        case PreloadLink::Operation::Ioctl:
            serveIoctl(m_link, *request, owner() == nullptr ? nullptr : &m_node->description());
            return true;
        }
        throw std::runtime_error(
            "the preloaded umockdev library speaks another protocol than version 0.17; install that version");
    }

private:
    /// Null once the device is gone.
    NodeOwner* owner() const { return m_node == nullptr ? nullptr : m_node->owner(); }

    std::optional<PreloadLink::Request> receive() {
        const Unlocked unlocked(m_loop.mutex());
        return m_link.receive();
    }

    void read(const PreloadLink::Request& request) {
        const ReadResult result =
            m_node == nullptr ? ReadResult{EIO, {}} : m_node->read(this, request.second);
        if (result.error != 0) {
            m_link.finish(-1, result.error);
        } else {
            m_link.finishWithMemory(request.first, result.report,
                                    static_cast<std::intptr_t>(result.report.size()));
        }
    }

    bool write(const PreloadLink::Request& request) {
        const int error = m_node == nullptr ? ENODEV : m_node->writeError(this, request.second);
        if (error != 0) {
            if (owner() != nullptr) {
                owner()->hostWriteFailed();
            }
            m_link.finish(-1, error);
            return true;
        }
        const auto bytes = fetch(request);
        if (!bytes) {
            return false;
        }
        const NodeOwner::WriteResult result =
            owner() == nullptr ? NodeOwner::WriteResult{ENODEV, 0} : owner()->hostWrote(*bytes);
        // What follows from the write is due at once at the earliest, and timers run only after this answer.
        m_link.finish(result.error == 0 ? static_cast<std::intptr_t>(result.accepted) : -1, result.error);
        return true;
    }

    std::optional<std::string> fetch(const PreloadLink::Request& request) {
        const Unlocked unlocked(m_loop.mutex());
        return m_link.fetchMemory(request.first, request.second);
    }

    ServingLoop& m_loop;
    PreloadLink m_link;
    std::shared_ptr<HidrawNode> m_node;
};

} // namespace

NodeListener::NodeListener(ServingLoop& loop, const std::string& socketPath)
    : Listener(loop, listenAt(socketPath), [this, &loop](FileDescriptor client) {
          const bool opens = m_node != nullptr && !m_node->refusesOpening();
          loop.add(std::make_shared<OpenFile>(loop, std::move(client), opens ? m_node : nullptr));
      }) {
}

} // namespace pdasim
