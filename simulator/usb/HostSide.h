#pragma once

#include "ServingLoop.h"
#include "TerminalPort.h"

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pdasim {

/// Puts together again what a host's bus has cut up. A message is whole as soon as it has as many characters
/// as it says at its beginning: no zero-length packet ends one.
class MessageAssembler {
public:
    /// Pieces come in packets of such a size; a shorter one ends a message, whatever it says.
    explicit MessageAssembler(std::size_t packetSize) : m_packetSize(packetSize) {}

    /// The message that the piece has made whole; nothing while more has to come.
    std::optional<std::string> add(std::string_view piece);

    /// How much has come of a message that is not whole yet.
    std::size_t pending() const { return m_gathered.size(); }
    /// Whatever has been gathered.
    std::string take();

private:
    bool isWhole(std::string_view piece) const;

    std::size_t m_packetSize;
    std::string m_gathered;
};

/// A terminal's two interrupt endpoints, whatever carries them: makes messages of what the host sends, and
/// keeps reports until the host fetches them. Every call needs the loop's lock.
class HostSide {
public:
    /// Whether the bus shows when a program of the host opens the device.
    enum class Openings { Seen, Unseen };

    /// What the host sends comes in packets of such a size; a shorter one ends its transfer.
    HostSide(ServingLoop& loop, std::size_t reportSize, std::size_t packetSize, Openings openings);
    HostSide(const HostSide&) = delete;
    HostSide& operator=(const HostSide&) = delete;
    ~HostSide() { m_loop.cancel(this); }

    void setOwner(NodeOwner& owner) { m_owner = &owner; }
    std::size_t reportSize() const { return m_reportSize; }

    /// One transfer of the host, or a packet of it; the errno with which it fails, or how much was taken.
    NodeOwner::WriteResult take(std::string_view piece);

    /// Whether a host fetches reports. What nobody fetches is lost.
    void setListening(bool listening);
    bool isListening() const { return m_listening; }

    void queue(const std::vector<std::string>& reports);
    /// The report that is to be fetched next; null when there is none.
    const std::string* front() const { return m_reports.empty() ? nullptr : &m_reports.front(); }
    /// It has been fetched.
    void pop() { m_reports.pop_front(); }

    /// The device has gone from the bus.
    void reset();

private:
    NodeOwner::WriteResult handOver(const std::string& message);

    ServingLoop& m_loop;
    std::size_t m_reportSize;
    Openings m_openings;
    NodeOwner* m_owner = nullptr;
    MessageAssembler m_assembler;
    bool m_listening = false;
    std::deque<std::string> m_reports;
};

/// A terminal whose USB device a loop of this process serves; how hosts come to it is its kinds' business.
class UsbPort : public TerminalPort {
public:
    void setOwner(NodeOwner& owner) final { m_host.setOwner(owner); }

    HostSide& host() { return m_host; }

protected:
    UsbPort(ServingLoop& loop, std::size_t reportSize, std::size_t packetSize, HostSide::Openings openings)
        : TerminalPort(loop), m_host(loop, reportSize, packetSize, openings) {}

    const HostSide& host() const { return m_host; }

private:
    HostSide m_host;
};

} // namespace pdasim
