#include "usbip/Protocol.h"

#include "usb/Descriptors.h"

#include <cstring>

namespace pdasim::usbip {

namespace {

constexpr std::uint16_t kVersion = 0x0111;
constexpr std::size_t kPathSize = 256;
constexpr std::size_t kSetupOffset = 40;

enum ReplyCode : std::uint16_t { ListReply = 0x0005, ImportReply = 0x0003 };
enum ReplyStatus : std::uint32_t { Done = 0, NotAvailable = 1 };
enum UrbCommand : std::uint32_t { CommandSubmit = 1, CommandUnlink = 2, ReplySubmit = 3, ReplyUnlink = 4 };

void append8(std::string& bytes, std::uint32_t value) {
    bytes.push_back(static_cast<char>(value & 0xFFU));
}

void append16(std::string& bytes, std::uint32_t value) {
    append8(bytes, value >> 8U);
    append8(bytes, value);
}

void append32(std::string& bytes, std::uint32_t value) {
    append16(bytes, value >> 16U);
    append16(bytes, value);
}

void appendField(std::string& bytes, std::string text, std::size_t size) {
    text.resize(size, '\0');
    bytes.append(text);
}

std::uint32_t number(std::string_view bytes, std::size_t at, std::size_t size) {
    std::uint32_t value = 0;
    for (const char byte : bytes.substr(at, size)) {
        value = value << 8U | static_cast<unsigned char>(byte);
    }
    return value;
}

void appendDevice(std::string& bytes, const OfferedDevice& device) {
    appendField(bytes, "/sys/devices/pdasim/usb" + std::to_string(device.busNumber) + "/" + device.busId,
                kPathSize);
    appendField(bytes, device.busId, kBusIdSize);
    append32(bytes, device.busNumber);
    append32(bytes, device.deviceNumber);
    append32(bytes, USB_SPEED_FULL);
    append16(bytes, idNumber(device.description.vendorId));
    append16(bytes, idNumber(device.description.productId));
    append16(bytes, usb::kDeviceRelease);
    // Class, subclass and protocol; configuration and number of configurations.
    for (const std::uint32_t byte : {0U, 0U, 0U, std::uint32_t(usb::kConfiguration), 1U}) {
        append8(bytes, byte);
    }
    append8(bytes, usb::kInterfaceCount);
}

std::string operationReply(ReplyCode code, ReplyStatus status) {
    std::string bytes;
    append16(bytes, kVersion);
    append16(bytes, code);
    append32(bytes, status);
    return bytes;
}

std::string urbReply(UrbCommand command, std::uint32_t sequence, int status) {
    std::string bytes;
    append32(bytes, command);
    append32(bytes, sequence);
    // Device, direction and endpoint: the sequence number says it all.
    bytes.resize(bytes.size() + 12, '\0');
    append32(bytes, static_cast<std::uint32_t>(status));
    return bytes;
}

Submit readSubmit(std::string_view header) {
    Submit submit;
    submit.sequence = number(header, 4, 4);
    const std::uint32_t direction = number(header, 12, 4);
    submit.isIn = direction == 1;
    submit.endpoint = number(header, 16, 4);
    submit.length = number(header, 24, 4);
    const auto packets = static_cast<std::int32_t>(number(header, 32, 4));
    if (direction > 1) {
        throw ProtocolError("a transfer in direction " + std::to_string(direction));
    }
    if (submit.length > kMaxTransfer) {
        throw ProtocolError("a transfer of " + std::to_string(submit.length) + " bytes");
    }
    if (packets > 0) {
        throw ProtocolError("an isochronous transfer");
    }
    std::memcpy(&submit.setup, header.data() + kSetupOffset, sizeof(submit.setup));
    return submit;
}

} // namespace

Operation readOperation(std::string_view bytes) {
    const std::uint32_t version = number(bytes, 0, 2);
    const std::uint32_t code = number(bytes, 2, 2);
    if (version != kVersion) {
        throw ProtocolError("version " + std::to_string(version));
    }
    for (const Operation known : {Operation::ListDevices, Operation::Import}) {
        if (code == static_cast<std::uint32_t>(known)) {
            return known;
        }
    }
    throw ProtocolError("request " + std::to_string(code));
}

std::string readBusId(std::string_view bytes) {
    return std::string(bytes.substr(0, bytes.find('\0')));
}

std::string deviceList(const std::vector<OfferedDevice>& devices) {
    std::string bytes = operationReply(ListReply, Done);
    append32(bytes, static_cast<std::uint32_t>(devices.size()));
    for (const OfferedDevice& device : devices) {
        appendDevice(bytes, device);
        // The interface's class, subclass, protocol, and padding.
        for (const std::uint32_t byte : {std::uint32_t(USB_CLASS_HID), 0U, 0U, 0U}) {
            append8(bytes, byte);
        }
    }
    return bytes;
}

std::string importReply(const OfferedDevice& device) {
    std::string bytes = operationReply(ImportReply, Done);
    appendDevice(bytes, device);
    return bytes;
}

std::string importRefusal() {
    return operationReply(ImportReply, NotAvailable);
}

UrbRequest readUrbRequest(std::string_view header) {
    const std::uint32_t command = number(header, 0, 4);
    switch (command) {
    case CommandSubmit:
        return readSubmit(header);
    case CommandUnlink:
        return Unlink{number(header, 4, 4), number(header, 20, 4)};
    default:
        throw ProtocolError("command " + std::to_string(command));
    }
}

std::string submitReply(std::uint32_t sequence, int status, std::size_t actualLength, std::string_view data) {
    std::string bytes = urbReply(ReplySubmit, sequence, status);
    append32(bytes, static_cast<std::uint32_t>(actualLength));
    bytes.resize(kUrbHeaderSize, '\0');
    return bytes.append(data);
}

std::string unlinkReply(std::uint32_t sequence, int status) {
    std::string bytes = urbReply(ReplyUnlink, sequence, status);
    bytes.resize(kUrbHeaderSize, '\0');
    return bytes;
}

} // namespace pdasim::usbip
