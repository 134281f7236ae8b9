#pragma once

#include "CodeTable.h"
#include "FollowedFile.h"
#include "Progress.h"
#include "TransferRecord.h"

#include <QTimer>

#include <cstddef>
#include <string>

namespace pdactl {

/**
 * One transfer as it can be watched from inside: by the library's own events while it waits.
 *
 * The library's result does not tell whether the file is whole; its log does.
 */
class TransferWatch {
public:
    /** `packets` is how many a file has that is sent. Throws a Failure when there is no log to read. */
    TransferWatch(const Code& code, int packets);

    /** Ends the watch. */
    void finish();
    /**
     * Judges the transfer by what the log says of it, after its result has been. `characters` is how many the
     * text of a fetched file has.
     */
    void judge(Outcome& outcome, std::size_t characters) const;

    /** Packets that the terminal took, or gave. */
    int packets() const { return m_record.agreed(); }
    const std::string& logPath() const { return m_log.path(); }

private:
    void look();
    int requests() const;
    void judgeSent(Outcome& outcome) const;
    void judgeFetched(Outcome& outcome, std::size_t characters) const;

    Results m_direction;
    FollowedFile m_log;
    TransferRecord m_record;
    Progress m_progress;
    int m_packets;
    int m_firstNumber;
    QTimer m_timer;
};

/** Turns an outcome into that of a file that did not arrive whole. */
void markIncomplete(Outcome& outcome, const std::string& message);

} // namespace pdactl
