#pragma once

#include "Outcome.h"
#include "file/Progress.h"
#include "file/TransferRecord.h"
#include "log/FollowedLog.h"

#include <QTimer>

#include <cstddef>
#include <string>

namespace pdactl {

/// One transfer as it can be watched from inside: by the library's own events while it waits.
class TransferWatch {
public:
    /// `packets` is how many a file has that is sent. Throws a Failure when there is no log to read.
    TransferWatch(const Transaction& transaction, int packets);

    /// Ends the watch.
    void finish();
    /// Judges the transfer by what the log says of it, after its result has been judged. `characters` is how
    /// many the text of a fetched file has.
    void judge(Outcome& outcome, std::size_t characters) const;

    /// Packets that the terminal took, or gave.
    int packets() const { return m_record.accepted(); }
    const std::string& logPath() const { return m_log.base(); }

private:
    void look();
    int requests() const;
    void judgeSent(Outcome& outcome) const;
    void judgeFetched(Outcome& outcome, std::size_t characters) const;

    Results m_direction;
    log::FollowedLog m_log;
    bool m_isLogComplete = true;
    TransferRecord m_record;
    Progress m_progress;
    int m_packets;
    int m_firstNumber;
    QTimer m_timer;
};

/// Turns an outcome into that of a file that did not arrive whole.
void markIncomplete(Outcome& outcome, const std::string& message);

} // namespace pdactl
