#include "node/HidIoctls.h"

#include "ReportDescriptor.h"
#include "node/HidrawQueue.h"

#include <linux/hidraw.h>
#include <linux/input.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>

namespace pdasim {

namespace {

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

/** A text goes out with its NUL, cut to the size that the client has room for. */
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
                          reportDescriptor(hidraw::DefaultReportSize).substr(0, size), 0);
}

} // namespace

void serveIoctl(PreloadLink& link, const PreloadLink::Request& request,
                const std::optional<DeviceDescription>& description) {
    if (_IOC_TYPE(request.first) != 'H') {
        link.leaveToClient();
        return;
    }
    if (!description) {
        link.finish(-1, ENODEV);
        return;
    }
    const int descriptorSize = static_cast<int>(reportDescriptor(hidraw::DefaultReportSize).size());
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

} // namespace pdasim
