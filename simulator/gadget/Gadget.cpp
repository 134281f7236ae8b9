#include "gadget/Gadget.h"

#include "DeviceDescription.h"
#include "System.h"
#include "node/FileDescriptor.h"
#include "usb/Descriptors.h"

#include <fcntl.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <string_view>

namespace pdasim {

namespace {

constexpr std::string_view kHead = R"sh(#!/bin/sh
set -eu
sys=${PDASIM_SYS:-/sys}
dev=${PDASIM_DEV:-/dev}
gadgets=$sys/kernel/config/usb_gadget
)sh";

constexpr std::string_view kFunctions = R"sh(
fail() {
    echo "pdasim: $1; this helps: $2" >&2
    exit 71
}

take_down() {
    { echo >"$g/UDC"; } 2>/dev/null || :
    rm -f "$g/configs/c.1/hid.usb0"
    for each in configs/c.1 functions/hid.usb0 strings/0x409 .; do
        [ ! -d "$g/$each" ] || rmdir "$g/${each#.}"
    done
}
)sh";

constexpr std::string_view kPrerequisites = R"sh(
[ -d "$sys/kernel/config" ] || fail 'configfs is not there' 'sudo modprobe configfs'
if [ ! -d "$gadgets" ]; then
    modprobe libcomposite 2>/dev/null || :
    [ -d "$gadgets" ] || mount -t configfs none "$sys/kernel/config" 2>/dev/null || :
    [ -d "$gadgets" ] || fail 'the kernel module libcomposite is not there' 'sudo modprobe libcomposite'
fi
[ -w "$gadgets" ] || fail 'no permission to set a gadget up' 'sudo pdasim gadget'
)sh";

constexpr std::string_view kChoice = R"sh(
if [ -z "$udc" ]; then
    for each in "$sys"/class/udc/*; do
        [ -e "$each" ] || fail 'there is no USB device controller (on a PC a simulated one will do)' 'sudo modprobe dummy_hcd'
        [ -n "$(cat "$each/function" 2>/dev/null)" ] || { udc=${each##*/}; break; }
    done
    [ -n "$udc" ] || fail 'every USB device controller is in use' 'pdasim gadget --script --remove | sudo sh'
fi
[ -e "$sys/class/udc/$udc" ] || fail "there is no USB device controller $udc" "ls $sys/class/udc"
g=$gadgets/pdasim.$udc
mkdir "$g" 2>/dev/null || fail "$g is there already" "pdasim gadget --script --remove --udc $udc | sudo sh"
trap take_down EXIT
)sh";

constexpr std::string_view kBinding = R"sh(ln -s "$g/functions/hid.usb0" "$g/configs/c.1/"
echo "$udc" >"$g/UDC"
number=$(cat "$g/functions/hid.usb0/dev")
trap - EXIT
echo "$udc $dev/hidg${number#*:}"
)sh";

constexpr std::string_view kRemoval = R"sh(
for g in "$gadgets"/pdasim.${udc:-*}; do
    [ ! -d "$g" ] || take_down
done
)sh";

/// The bytes as printf(1) writes them.
std::string octal(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
        std::array<char, 8> escape{};
        (void)std::snprintf(escape.data(), escape.size(), "\\%03o",
                            static_cast<unsigned>(static_cast<unsigned char>(byte)));
        text.append(escape.data());
    }
    return text;
}

std::string writing(const std::string& attribute, const std::string& value) {
    return "printf %s " + quotedForShell(value) + " >\"$g/" + attribute + "\"\n";
}

std::string hexadecimal(std::uint16_t value) {
    std::array<char, 8> text{};
    (void)std::snprintf(text.data(), text.size(), "0x%04x", static_cast<unsigned>(value));
    return text.data();
}

std::string attributes(const DeviceDescription& description, std::size_t reportSize) {
    std::string text = writing("idVendor", hexadecimal(idNumber(description.vendorId))) +
                       writing("idProduct", hexadecimal(idNumber(description.productId))) +
                       writing("bcdDevice", hexadecimal(usb::kDeviceRelease)) +
                       "mkdir -p \"$g/strings/0x409\" \"$g/configs/c.1\"\n"
                       "mkdir -p \"$g/functions/hid.usb0\" 2>/dev/null ||\n"
                       "    fail 'the kernel module usb_f_hid is not there' 'sudo modprobe usb_f_hid'\n";
    const auto addText = [&text](const char* name, const std::optional<std::string>& value) {
        if (value) {
            text += writing(std::string("strings/0x409/") + name, *value);
        }
    };
    addText("manufacturer", description.manufacturer);
    addText("product", description.product);
    addText("serialnumber", description.serial);
    text += writing("functions/hid.usb0/protocol", "0") + writing("functions/hid.usb0/subclass", "0") +
            writing("functions/hid.usb0/report_length", std::to_string(reportSize)) +
            "# The kernel takes each write for the whole descriptor: it has to be one.\n"
            "printf '" +
            octal(reportDescriptor(reportSize)) + "' >\"$g/functions/hid.usb0/report_desc\"\n";
    return text;
}

std::string chosen(const std::string& controller) {
    return "udc=" + quotedForShell(controller) + "\n";
}

/// What the script prints; throws std::runtime_error with what it says when it fails.
std::string runScript(const std::string& script) {
    std::FILE* output = ::popen(("exec 2>&1\n" + script).c_str(), "re"); // NOLINT(cert-env33-c)
    if (output == nullptr) {
        throwSystemError("cannot run a shell");
    }
    std::string text;
    std::array<char, 512> piece{};
    while (std::fgets(piece.data(), piece.size(), output) != nullptr) {
        text += piece.data();
    }
    const int status = ::pclose(output);
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        const std::string mark = "pdasim: ";
        throw std::runtime_error(text.compare(0, mark.size(), mark) == 0 ? text.substr(mark.size()) : text);
    }
    return text;
}

void writeController(const std::string& gadget, const std::string& controller) {
    const std::string path = sysFolder() + "/kernel/config/usb_gadget/pdasim." + gadget + "/UDC";
    const FileDescriptor file(::open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC));
    const std::string line = controller + "\n";
    if (!file.isOpen() ||
        ::write(file.get(), line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        throw std::runtime_error("cannot write to " + path + ": " + std::strerror(errno) +
                                 "; start \"pdasim gadget\" again");
    }
}

} // namespace

std::string gadgetScript(const DeviceDescription& description, std::size_t reportSize,
                         const std::string& controller) {
    return std::string(kHead) + chosen(controller) + std::string(kFunctions) + std::string(kPrerequisites) +
           std::string(kChoice) + attributes(description, reportSize) + std::string(kBinding);
}

std::string gadgetRemovalScript(const std::string& controller) {
    return std::string(kHead) + chosen(controller) + std::string(kFunctions) + std::string(kRemoval);
}

Gadget::Gadget(const DeviceDescription& description, std::size_t reportSize, const std::string& controller) {
    std::istringstream words(runScript(gadgetScript(description, reportSize, controller)));
    words >> m_controller >> m_node;
}

Gadget::~Gadget() {
    try {
        (void)runScript(gadgetRemovalScript(m_controller));
    } catch (const std::exception& failure) {
        (void)std::fprintf(stderr, "pdasim: %s\n", failure.what());
    }
}

void Gadget::bind() const {
    writeController(m_controller, m_controller);
}

void Gadget::unbind() const {
    writeController(m_controller, "");
}

} // namespace pdasim
