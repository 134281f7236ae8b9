#include "VirtualNode.h"

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <dlfcn.h>
#include <libudev.h>
#include <linux/fcntl.h>
#include <poll.h>
#include <sys/types.h>
#include <unistd.h>
#include <utility>

// How the node behaves beyond what is delivered to it is how the kernel's hidraw driver does.

using namespace pdalink::test;
using namespace std::chrono_literals;

namespace {

constexpr std::size_t kMaxWrite = 16384;

std::string& libraryFile() {
    static auto& path = *new std::string;
    return path;
}

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-inconsistent-declaration-parameter-name)

extern "C" {
int __real_open(const char*, int, ...);
ssize_t __real_read(int, void*, size_t);
ssize_t __real_write(int, const void*, size_t);
int __real_poll(pollfd*, nfds_t, int);
int __real_close(int);
int __real_dladdr(const void*, Dl_info*);
}

VirtualNode& pdalink::test::node() {
    static auto& only = *new VirtualNode; // never destroyed: it is used until the very end
    return only;
}

void pdalink::test::setLibraryFile(std::string path) {
    libraryFile() = std::move(path);
}

void VirtualNode::unplug() {
    m_isPlugged = false;
    m_isHungUp = isOpen();
    m_inputs.clear();
}

bool VirtualNode::deliver(NodeInput input) {
    const bool isTaken = isOpen() && !m_isHungUp;
    if (isTaken) {
        m_inputs.push_back(std::move(input));
    }
    return isTaken;
}

/// Tells of a call's end. Returns what the call returns.
long VirtualNode::ended(const char* call, long result) {
    if (onCall) {
        onCall(call, result);
    }
    errno = result < 0 ? static_cast<int>(-result) : errno;
    return result < 0 ? -1 : result;
}

int VirtualNode::open() {
    virtual_time::waitUntil(virtual_time::now() + openingTime, nullptr);
    const int failure = virtual_time::failureOf("open");
    const int error = failure != 0 ? failure : m_isPlugged ? openingError : ENOENT;
    if (error != 0) {
        return static_cast<int>(ended("open", -error));
    }
    m_descriptor = __real_open("/dev/null", O_RDWR | O_CLOEXEC); // no other file gets its number
    m_isHungUp = false;
    m_inputs.clear();
    ended("open", 0);
    return m_descriptor;
}

long VirtualNode::read(char* buffer, std::size_t size) {
    virtual_time::yield();
    if (const int error = virtual_time::failureOf("read")) {
        return ended("read", -error);
    }
    if (m_inputs.empty()) {
        return ended("read", m_isHungUp ? -EIO : -EAGAIN);
    }
    const NodeInput input = std::move(m_inputs.front());
    m_inputs.pop_front();
    const std::size_t count = input.bytes.copy(buffer, size);
    return ended("read", input.error != 0 ? -input.error : static_cast<long>(count));
}

long VirtualNode::write(std::string_view bytes) {
    virtual_time::yield();
    if (const int error = virtual_time::failureOf("write")) {
        return ended("write", -error);
    }
    if (m_isHungUp) {
        return ended("write", -ENODEV);
    }
    if (bytes.size() > kMaxWrite) {
        return ended("write", -EINVAL);
    }
    const NodeWrite outcome = onWrite ? onWrite(bytes) : NodeWrite();
    return ended("write", outcome.error != 0 ? -outcome.error
                                             : static_cast<long>(outcome.accepted.value_or(bytes.size())));
}

int VirtualNode::poll(pollfd& file, int timeout) {
    if (const int error = virtual_time::failureOf("poll")) {
        virtual_time::yield();
        return static_cast<int>(ended("poll", -error));
    }
    const auto news = [this, wanted = file.events] {
        return static_cast<short>((m_inputs.empty() ? 0 : POLLIN & wanted) |
                                  (m_isHungUp ? POLLERR | POLLHUP : 0));
    };
    virtual_time::waitUntil(timeout < 0 ? virtual_time::kNever : virtual_time::now() + timeout * 1ms,
                            [news] { return news() != 0; });
    file.revents = news();
    return static_cast<int>(ended("poll", file.revents != 0 ? 1 : 0));
}

int VirtualNode::close() {
    virtual_time::yield();
    const int descriptor = std::exchange(m_descriptor, -1);
    m_inputs.clear();
    ended("close", 0);
    return __real_close(descriptor);
}

// libudev's objects, as far as anybody looks into them. There is another device in front of the terminal.

struct udev {};
struct udev_enumerate {};
struct udev_list_entry {
    const char* path;
    bool isTerminal;
};
struct udev_device {
    bool isTerminal;
};

namespace {

udev g_udev;
udev_enumerate g_enumeration;
std::array<udev_list_entry, 2> g_entries{{{"/sys/other", false}, {"/sys/terminal", true}}};
std::array<udev_device, 2> g_devices{{{false}, {true}}};

} // namespace

extern "C" {

int __wrap_open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const bool creates = (flags & O_CREAT) != 0;
    const mode_t mode = creates ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return std::strcmp(path, VirtualNode::kPath) == 0 ? node().open() : __real_open(path, flags, mode);
}

ssize_t __wrap_read(int descriptor, void* buffer, size_t size) {
    return node().isDescriptor(descriptor) ? node().read(static_cast<char*>(buffer), size)
                                           : __real_read(descriptor, buffer, size);
}

ssize_t __wrap_write(int descriptor, const void* bytes, size_t size) {
    return node().isDescriptor(descriptor) ? node().write({static_cast<const char*>(bytes), size})
                                           : __real_write(descriptor, bytes, size);
}

/// Of nothing it is a sleep.
int __wrap_poll(pollfd* files, nfds_t count, int timeout) {
    if (files == nullptr && timeout >= 0) {
        virtual_time::waitUntil(virtual_time::now() + timeout * 1ms, nullptr);
        return 0;
    }
    return count == 1 && node().isDescriptor(files->fd) ? node().poll(*files, timeout)
                                                        : __real_poll(files, count, timeout);
}

int __wrap_close(int descriptor) {
    return node().isDescriptor(descriptor) ? node().close() : __real_close(descriptor);
}

int __wrap_dladdr(const void* address, Dl_info* info) {
    const int result = __real_dladdr(address, info);
    if (!libraryFile().empty()) {
        info->dli_fname = libraryFile().c_str();
    }
    return result;
}

struct udev* __wrap_udev_new() {
    return &g_udev;
}
struct udev* __wrap_udev_unref(struct udev*) {
    return nullptr;
}
struct udev_enumerate* __wrap_udev_enumerate_new(struct udev*) {
    return &g_enumeration;
}
struct udev_enumerate* __wrap_udev_enumerate_unref(struct udev_enumerate*) {
    return nullptr;
}
int __wrap_udev_enumerate_add_match_subsystem(struct udev_enumerate*, const char*) {
    return 0;
}
int __wrap_udev_enumerate_scan_devices(struct udev_enumerate*) {
    return 0;
}
udev_list_entry* __wrap_udev_enumerate_get_list_entry(struct udev_enumerate*) {
    return g_entries.data();
}
udev_list_entry* __wrap_udev_list_entry_get_next(udev_list_entry* entry) {
    return entry == g_entries.data() && node().isPlugged() ? entry + 1 : nullptr;
}
const char* __wrap_udev_list_entry_get_name(udev_list_entry* entry) {
    return entry->path;
}
udev_device* __wrap_udev_device_new_from_syspath(struct udev*, const char* path) {
    return &g_devices[std::strcmp(path, g_entries[1].path) == 0 ? 1 : 0];
}
udev_device* __wrap_udev_device_unref(udev_device*) {
    return nullptr;
}
const char* __wrap_udev_device_get_devnode(udev_device* device) {
    return device->isTerminal ? VirtualNode::kPath : "/dev/hidraw0";
}
udev_device* __wrap_udev_device_get_parent_with_subsystem_devtype(udev_device* device, const char*,
                                                                  const char*) {
    return device;
}
const char* __wrap_udev_device_get_sysattr_value(udev_device* device, const char* name) {
    const char* const id = std::strcmp(name, "idVendor") == 0    ? VirtualNode::kVendor
                           : std::strcmp(name, "idProduct") == 0 ? VirtualNode::kProduct
                                                                 : nullptr;
    return id == nullptr || device->isTerminal ? id : "ffff";
}

} // extern "C"

// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-inconsistent-declaration-parameter-name)
