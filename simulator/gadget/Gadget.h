#pragma once

#include "DeviceDescription.h"

#include <cstddef>
#include <string>

namespace pdasim {

/// The POSIX shell script that makes a board's USB device controller a terminal, the named one or, without a
/// name, the first one that nothing uses yet. What it prints is "CONTROLLER NODE". It says what is missing,
/// and the command that helps.
std::string gadgetScript(const DeviceDescription& description, std::size_t reportSize,
                         const std::string& controller);

/// The script that takes it away again: from the named controller, or from all.
std::string gadgetRemovalScript(const std::string& controller);

/// A USB device controller of this machine that is a terminal as long as the object lives.
class Gadget {
public:
    /// Runs the script that sets it up; throws std::runtime_error with what that says.
    Gadget(const DeviceDescription& description, std::size_t reportSize, const std::string& controller);
    Gadget(const Gadget&) = delete;
    Gadget& operator=(const Gadget&) = delete;
    ~Gadget();

    const std::string& controller() const { return m_controller; }
    /// The character device through which the terminal talks to its host.
    const std::string& node() const { return m_node; }

    /// As if somebody had put the plug in, or pulled it.
    void bind() const;
    void unbind() const;

private:
    std::string m_controller;
    std::string m_node;
};

} // namespace pdasim
