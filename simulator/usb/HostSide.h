#pragma once

#include "node/NodeOwner.h"
#include "usb/MessageAssembler.h"
#include "usb/ServingLoop.h"

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace pdasim {

/**
 * A terminal's two interrupt endpoints, whatever carries them: makes messages of what the host sends, and
 * keeps reports until the host fetches them. Every call needs the loop's lock.
 */
class HostSide {
public:
    /** Whether the bus shows when a program of the host opens the device. */
    enum class Openings { Seen, Unseen };

    /** What the host sends comes in packets of such a size; a shorter one ends its transfer. */
    HostSide(ServingLoop& loop, std::size_t reportSize, std::size_t packetSize, Openings openings);
    HostSide(const HostSide&) = delete;
    HostSide& operator=(const HostSide&) = delete;
    ~HostSide() { m_loop.cancel(this); }

    void setOwner(NodeOwner& owner) { m_owner = &owner; }
    std::size_t reportSize() const { return m_reportSize; }

    /** One transfer of the host, or a packet of it; the errno with which it fails, or how much was taken. */
    NodeOwner::WriteResult take(std::string_view piece);

    /** Whether a host fetches reports. What nobody fetches is lost. */
    void setListening(bool listening);
    bool isListening() const { return m_listening; }

    void queue(const std::vector<std::string>& reports);
    /** The report that is to be fetched next; null when there is none. */
    const std::string* front() const { return m_reports.empty() ? nullptr : &m_reports.front(); }
    /** It has been fetched. */
    void pop() { m_reports.pop_front(); }

    /** The device has gone from the bus. */
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

} // namespace pdasim
