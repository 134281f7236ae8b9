#pragma once

#include "Outcome.h"
#include "file/TransferRecord.h"
#include "log/FollowedLog.h"

#include <QTimer>

#include <chrono>
#include <cstddef>
#include <string>

namespace pdactl {

/// One transfer as it can be watched from inside: by the library's own events while it waits. A line on
/// standard error tells how far it is, when somebody sees it there.
class TransferWatch {
public:
    /// `packets` is how many a file has that is sent. Throws a Failure when there is no log to read.
    TransferWatch(const Transaction& transaction, int packets);
    TransferWatch(const TransferWatch&) = delete;
    TransferWatch& operator=(const TransferWatch&) = delete;
    ~TransferWatch();

    /// Ends the watch.
    void finish();
    /// Judges the transfer by what the log says of it, after its result has been judged. `characters` is how
    /// many the text of a fetched file has.
    void judge(Outcome& outcome, std::size_t characters) const;

    /// Packets that the terminal took, or gave.
    int packets() const { return m_record.accepted; }
    const std::string& logPath() const { return m_log.base(); }

private:
    using Clock = std::chrono::steady_clock;

    void look();
    void showProgress(int packets);
    int requests() const;
    void judgeSent(Outcome& outcome) const;
    void judgeFetched(Outcome& outcome, std::size_t characters) const;

    Results m_direction;
    log::FollowedLog m_log;
    bool m_isLogComplete = true;
    TransferRecord m_record;
    int m_packets;
    int m_firstNumber;
    bool m_isWatched;
    Clock::time_point m_begin = Clock::now();
    QTimer m_timer;
};

/// Turns an outcome into that of a file that did not arrive whole.
void markIncomplete(Outcome& outcome, const std::string& message);

} // namespace pdactl
