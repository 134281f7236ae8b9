#include "file/TransferWatch.h"

#include "Failure.h"
#include "Host.h"

#include <pdalink/analysis/ResultStores.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace pdactl {

namespace {

constexpr int kLookEvery = 100; // milliseconds; the log's copies hold half a minute of packets

/// The file of the log's directory that this process has open.
std::string openLog() {
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::path directory = fs::canonical(logDirectory(), error);
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc/self/fd")) {
        const fs::path target = fs::read_symlink(entry.path(), error);
        if (!error && !directory.empty() && target.parent_path() == directory) {
            return target;
        }
    }
    throw Failure(LocalFailure, "The library cannot write its log in " + logDirectory() +
                                    ", and without it a packet that the terminal refuses would go unseen. "
                                    "Run 'pdactl doctor' to find out why.");
}

std::string refusals(const TransferRecord& record) {
    const std::string code = record.firstRefusal().empty() ? "no result code" : record.firstRefusal();
    return "The terminal refused " + std::to_string(record.refused()) + " packet(s), the first with " + code;
}

} // namespace

TransferWatch::TransferWatch(const Transaction& transaction, int packets)
    : m_direction(transaction.results),
      m_log(openLog(), log::FollowedLog::From::End),
      m_record(transaction.type),
      m_progress(transaction.results == Results::Send ? "sending" : "fetching"),
      m_packets(packets),
      m_firstNumber(m_SeqNo) {
    QObject::connect(&m_timer, &QTimer::timeout, [this] { look(); });
    m_timer.start(kLookEvery);
}

void TransferWatch::look() {
    const log::Growth growth = m_log.grow();
    m_isLogComplete = m_isLogComplete && !growth.hasGap;
    m_record.add(growth.bytes);
    // The last message has not been answered yet.
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

/// A success counts only when the log confirms it.
void TransferWatch::judgeSent(Outcome& outcome) const {
    if (outcome.result != 0) {
        return;
    }
    if (m_record.refused() > 0) {
        markIncomplete(outcome, refusals(m_record) + ", so the file is not whole there. Send it again.");
    } else if (!m_isLogComplete || m_record.accepted() != m_packets) {
        markIncomplete(outcome, "The log shows " + std::to_string(m_record.accepted()) +
                                    " packets taken instead of " + std::to_string(m_packets) +
                                    ". Send the file again, and see " + logPath() + ".");
    }
}

void TransferWatch::judgeFetched(Outcome& outcome, std::size_t characters) const {
    if (outcome.exitCode == NoReply && requests() > 0 && m_record.accepted() == requests()) {
        markIncomplete(outcome,
                       "The terminal answered every time, but with packets that had come before or whose "
                       "check was wrong. Fetch the file again, and see " +
                           logPath() + ".");
    } else if (outcome.result != 0) {
        return;
    } else if (m_record.refused() > 0 && m_record.accepted() > 0) {
        markIncomplete(outcome, refusals(m_record) + ", after " + std::to_string(m_record.accepted()) +
                                    " that came. Fetch the file again.");
    } else if (outcome.exitCode == Success && (!m_isLogComplete || !m_record.hasWhole(characters))) {
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
