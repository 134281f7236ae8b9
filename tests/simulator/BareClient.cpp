#include "BareClient.h"

#include "core/Message.h"

#include <libudev.h>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace pdasim::test {

BareClient::BareClient(const std::string& path)
    : m_descriptor(::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC)) {
}

BareClient::~BareClient() {
    close();
}

void BareClient::close() {
    if (m_descriptor >= 0) {
        ::close(m_descriptor);
        m_descriptor = -1;
    }
}

ssize_t BareClient::write(std::string_view bytes) const {
    const ssize_t written = ::write(m_descriptor, bytes.data(), bytes.size());
    return written < 0 ? -errno : written;
}

std::string BareClient::read(std::size_t count) {
    std::string report(count, '\0');
    const ssize_t got = ::read(m_descriptor, report.data(), report.size());
    m_readError = got < 0 ? errno : 0;
    report.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    return report;
}

short BareClient::poll(std::chrono::milliseconds timeout) const {
    pollfd watched = {m_descriptor, POLLIN, 0};
    return ::poll(&watched, 1, static_cast<int>(timeout.count())) > 0 ? watched.revents : short{0};
}

std::vector<std::string> BareClient::readReports(std::chrono::milliseconds quiet) {
    std::vector<std::string> reports;
    auto deadline = std::chrono::steady_clock::now() + quiet;
    while (std::chrono::steady_clock::now() < deadline) {
        (void)poll(std::chrono::milliseconds(10));
        const std::string report = read();
        if (m_readError == 0) {
            reports.push_back(report);
            deadline = std::chrono::steady_clock::now() + quiet;
        } else if (m_readError != EAGAIN) {
            break;
        }
    }
    return reports;
}

std::string BareClient::readText(std::string_view end, std::chrono::milliseconds timeout) {
    std::string text;
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (text.find(end) == std::string::npos && std::chrono::steady_clock::now() < deadline) {
        (void)poll(std::chrono::milliseconds(10));
        const std::string report = read();
        text.append(report.c_str(), ::strnlen(report.c_str(), report.size()));
    }
    return text;
}

std::string requestWithSequence(std::string_view type, std::string_view sequence, std::string_view body) {
    std::string text = std::string(type) + "QEV   " + std::string(24, '0') + std::string(8, ' ') + "05" +
                       "<Ex_TrTime>20260102030405</Ex_TrTime><Ex_SeqNo>" + std::string(sequence) +
                       "</Ex_SeqNo>" + std::string(body);
    std::array<char, 16> length{};
    (void)std::snprintf(length.data(), length.size(), "%06zu", lengthInCharacters(text) + 6);
    return length.data() + text;
}

std::string request(std::string_view type, int sequence, std::string_view body) {
    std::array<char, 16> number{};
    (void)std::snprintf(number.data(), number.size(), "%04d", sequence);
    return requestWithSequence(type, number.data(), body);
}

namespace {

std::string attribute(udev_device* device, const char* name) {
    const char* value = ::udev_device_get_sysattr_value(device, name);
    return value == nullptr ? "(absent)" : value;
}

FoundDevice describe(udev_device* device) {
    FoundDevice found;
    const char* node = ::udev_device_get_devnode(device);
    found.node = node == nullptr ? "" : node;
    udev_device* parent = ::udev_device_get_parent_with_subsystem_devtype(device, "usb", "usb_device");
    if (parent != nullptr) {
        found.hasUsbParent = true;
        found.vendorId = attribute(parent, "idVendor");
        found.productId = attribute(parent, "idProduct");
        found.manufacturer = attribute(parent, "manufacturer");
        found.product = attribute(parent, "product");
        found.serial = attribute(parent, "serial");
    }
    return found;
}

} // namespace

std::vector<FoundDevice> enumerateHidraw() {
    std::vector<FoundDevice> devices;
    udev* context = ::udev_new();
    udev_enumerate* enumeration = ::udev_enumerate_new(context);
    ::udev_enumerate_add_match_subsystem(enumeration, "hidraw");
    ::udev_enumerate_scan_devices(enumeration);
    for (udev_list_entry* entry = ::udev_enumerate_get_list_entry(enumeration); entry != nullptr;
         entry = ::udev_list_entry_get_next(entry)) {
        udev_device* device = ::udev_device_new_from_syspath(context, ::udev_list_entry_get_name(entry));
        if (device != nullptr) {
            devices.push_back(describe(device));
            ::udev_device_unref(device);
        }
    }
    ::udev_enumerate_unref(enumeration);
    ::udev_unref(context);
    return devices;
}

} // namespace pdasim::test
