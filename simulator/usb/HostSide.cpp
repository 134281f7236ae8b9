#include "usb/HostSide.h"

#include <algorithm>

namespace pdasim {

namespace {

using namespace std::chrono_literals;

/** After so long without its rest a message counts as ended: the host has sent less than it said. */
constexpr auto Patience = 1s;

} // namespace

HostSide::HostSide(ServingLoop& loop, std::size_t reportSize, std::size_t packetSize, Openings openings)
    : m_loop(loop), m_reportSize(reportSize), m_openings(openings), m_assembler(packetSize) {
}

NodeOwner::WriteResult HostSide::take(std::string_view piece) {
    const std::size_t before = m_assembler.pending();
    const auto message = m_assembler.add(piece);
    m_loop.cancel(this);
    if (!message) {
        if (m_assembler.pending() > 0) {
            m_loop.schedule(this, ServingLoop::Clock::now() + Patience,
                            [this] { (void)handOver(m_assembler.take()); });
        }
        return {0, piece.size()};
    }
    const NodeOwner::WriteResult result = handOver(*message);
    return {result.error, result.accepted - std::min(before, result.accepted)};
}

NodeOwner::WriteResult HostSide::handOver(const std::string& message) {
    if (m_openings == Openings::Unseen) {
        // Any message may be the first one of another program.
        m_owner->hostOpened();
    }
    return m_owner->hostWrote(message);
}

void HostSide::setListening(bool listening) {
    if (listening == m_listening) {
        return;
    }
    m_listening = listening;
    if (listening) {
        m_owner->hostOpened();
    } else {
        m_reports.clear();
    }
}

void HostSide::queue(const std::vector<std::string>& reports) {
    if (m_listening) {
        m_reports.insert(m_reports.end(), reports.begin(), reports.end());
    }
}

void HostSide::reset() {
    m_loop.cancel(this);
    (void)m_assembler.take();
    setListening(false);
}

} // namespace pdasim
