#include "gadget/Gadget.h"

#include "node/FileDescriptor.h"
#include "usb/SystemTree.h"

#include <fcntl.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <stdexcept>

namespace pdasim {

namespace {

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
