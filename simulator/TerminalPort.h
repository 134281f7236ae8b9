#pragma once

#include "ServingLoop.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace pdasim {

/// The device behind a node, as the node sees it; one that is no terminal takes everything. Called with the
/// lock of its port held.
class NodeOwner {
public:
    struct WriteResult {
        int error = 0;
        std::size_t accepted = 0;
    };

    NodeOwner() = default;
    NodeOwner(const NodeOwner&) = delete;
    NodeOwner& operator=(const NodeOwner&) = delete;
    virtual ~NodeOwner() = default;

    virtual void hostOpened() {}
    /// A write that the kernel's rules let through.
    virtual WriteResult hostWrote(std::string_view bytes) { return {0, bytes.size()}; }
    /// A write that failed before it could reach the device.
    virtual void hostWriteFailed() {}
};

/// What one terminal is plugged into: its way to the hosts. Every call needs the loop's lock.
class TerminalPort {
public:
    explicit TerminalPort(ServingLoop& loop) : m_loop(loop) {}
    TerminalPort(const TerminalPort&) = delete;
    TerminalPort& operator=(const TerminalPort&) = delete;
    virtual ~TerminalPort() = default;

    /// The terminal's clock and its lock; needs none itself.
    ServingLoop& loop() const { return m_loop; }

    /// Who is told of what hosts do. Comes before every plugging.
    virtual void setOwner(NodeOwner& owner) = 0;
    /// Does nothing for a terminal that is plugged in.
    virtual void plug() = 0;
    /// Does nothing for a terminal that is not plugged in.
    virtual void unplug() = 0;
    /// Reports for the hosts, as fast as they fetch them; lost when there is none.
    virtual void send(const std::vector<std::string>& reports) = 0;

    /// Where hosts find the terminal, for people; empty while it is unplugged.
    virtual std::string place() const = 0;
    /// How many hosts have the terminal open.
    virtual std::size_t openFiles() const = 0;

private:
    ServingLoop& m_loop;
};

} // namespace pdasim
