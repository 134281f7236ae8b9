#include "TestBed.h"

#include "node/NodeBus.h"

#include <cstdlib>

namespace pdasim {

namespace {

std::string appendedTo(const char* variable, const std::string& value) {
    const char* present = std::getenv(variable);
    return present == nullptr || *present == '\0' ? value : std::string(present) + ":" + value;
}

} // namespace

TestBed::TestBed() : m_owner(std::make_unique<NodeOwner>()), m_bus(std::make_unique<NodeBus>()) {
}

TestBed::~TestBed() {
    const std::lock_guard lock(m_bus->loop().mutex());
    for (const auto& device : m_devices) {
        device->unplug();
    }
}

TestBed::DeviceId TestBed::addDevice(const DeviceDescription& description) {
    const std::lock_guard lock(m_bus->loop().mutex());
    m_devices.push_back(std::make_unique<NodePort>(*m_bus, description));
    m_devices.back()->setOwner(*m_owner);
    m_devices.back()->plug();
    return static_cast<DeviceId>(m_devices.size()) - 1;
}

void TestBed::unplug(DeviceId device) {
    m_bus->loop().settle();
    const std::lock_guard lock(m_bus->loop().mutex());
    port(device).unplug();
}

void TestBed::replug(DeviceId device) {
    m_bus->loop().settle();
    const std::lock_guard lock(m_bus->loop().mutex());
    port(device).plug();
}

std::string TestBed::nodePath(DeviceId device) const {
    const std::lock_guard lock(m_bus->loop().mutex());
    return port(device).place();
}

void TestBed::addDanglingEntry(const std::string& name) {
    m_bus->tree().addDanglingEntry(name);
}

const std::string& TestBed::rootDirectory() const {
    return m_bus->tree().rootDirectory();
}

std::map<std::string, std::string> TestBed::environment() const {
    return {{"LD_PRELOAD", appendedTo("LD_PRELOAD", "libumockdev-preload.so.0")},
            // A program built with the address sanitizer objects to any library that comes ahead of its own.
            {"ASAN_OPTIONS", appendedTo("ASAN_OPTIONS", "verify_asan_link_order=0")},
            {"UMOCKDEV_DIR", rootDirectory()}};
}

} // namespace pdasim
