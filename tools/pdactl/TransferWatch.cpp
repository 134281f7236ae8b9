#include "TransferWatch.h"

#include "LibraryFiles.h"

#include <pdalink/analysis/ResultStores.h>

#include <algorithm>

namespace pdactl {

namespace {

constexpr int LookEvery = 100; // milliseconds; the log's copies hold half a minute of packets

std::string refusals(const TransferRecord& record) {
    const std::string code = record.firstRefusal().empty() ? "no result code" : record.firstRefusal();
    return "The terminal refused " + std::to_string(record.refused()) + " packet(s), the first with " + code;
}

} // namespace

TransferWatch::TransferWatch(const Code& code, int packets)
    : m_direction(code.results),
      m_log(logDirectory()),
      m_record(code.type),
      m_progress(code.results == Results::Send ? "sending" : "fetching"),
      m_packets(packets),
      m_firstNumber(m_SeqNo) {
    QObject::connect(&m_timer, &QTimer::timeout, [this] { look(); });
    m_timer.start(LookEvery);
}

void TransferWatch::look() {
    m_record.add(m_log.readNew());
    // The last message is still under way.
    m_progress.show(std::max(requests() - 1, 0), m_packets > 0 ? m_packets : m_record.total());
}

int TransferWatch::requests() const {
    return m_SeqNo - m_firstNumber;
}

void TransferWatch::finish() {
    m_timer.stop();
    look();
    m_record.finish();
}

void TransferWatch::judge(Outcome& outcome, std::size_t characters) const {
    if (m_direction == Results::Send) {
        judgeSent(outcome);
    } else {
        judgeFetched(outcome, characters);
    }
}

/** A success that the log does not bear out is none. */
void TransferWatch::judgeSent(Outcome& outcome) const {
    if (outcome.result != 0) {
        return;
    }
    if (m_record.refused() > 0) {
        markIncomplete(outcome, refusals(m_record) + ", so the file is not whole there. Send it again.");
    } else if (!m_log.isComplete() || m_record.agreed() != m_packets) {
        markIncomplete(outcome, "The log shows " + std::to_string(m_record.agreed()) +
                                    " packets taken instead of " + std::to_string(m_packets) +
                                    ". Send the file again, and see " + logPath() + ".");
    }
}

void TransferWatch::judgeFetched(Outcome& outcome, std::size_t characters) const {
    if (outcome.exitCode == NoReply && requests() > 0 && m_record.agreed() == requests()) {
        markIncomplete(outcome,
                       "The terminal answered every time, but with packets that had come before or whose "
                       "check was wrong. Fetch the file again, and see " +
                           logPath() + ".");
    } else if (outcome.result != 0) {
        return;
    } else if (m_record.refused() > 0 && m_record.agreed() > 0) {
        markIncomplete(outcome, refusals(m_record) + ", after " + std::to_string(m_record.agreed()) +
                                    " that came. Fetch the file again.");
    } else if (outcome.exitCode == Success && (!m_log.isComplete() || !m_record.hasWhole(characters))) {
        markIncomplete(outcome,
                       "Packets are missing: the log does not show all " + std::to_string(m_record.total()) +
                           " that the terminal announced. Fetch the file again, and see " + logPath() + ".");
    }
}

void markIncomplete(Outcome& outcome, const std::string& message) {
    outcome.exitCode = TransferRefused;
    outcome.message = message;
}

} // namespace pdactl
