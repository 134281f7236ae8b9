#pragma once

#include "log/Entries.h"
#include "log/Exchange.h"

#include <list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace pdactl::log {

/// Makes exchanges of a log's entries.
///
/// Lines of several hosts that share a log are told apart by code, method and message type, and by how far
/// each exchange has come; where that leaves a choice, the most recent one is taken and all that come into
/// question are marked as interleaved.
class ExchangeBuilder {
public:
    void add(const Entry& entry);

    /// Something is missing here: what is open stays unfinished.
    void closeAll();

    /// Those that have come to their end since the last time.
    std::vector<Exchange> takeFinished() { return std::exchange(m_finished, {}); }

private:
    struct Open {
        Exchange exchange;
        Progress progress = Progress::Begun;
        bool isWholeRequest = false; ///< with what the library writes after one
        bool hasBegun = false;       ///< its first line has been followed by another of its own
        bool isRefused = false;      ///< by the library
    };
    using Iterator = std::list<Open>::iterator;

    Open& open(const Entry& entry, Origin origin, const Transaction* member);
    void close(Iterator position);
    void closeStale(const Entry& entry);
    template <typename Test>
    Open* choose(Test test);
    static void touch(Open& chosen, const Entry& entry);

    void addRequest(const Entry& entry, std::string_view json);
    void addResponse(const Entry& entry, std::string_view json);
    void addBegin(const Entry& entry, std::string_view name);
    void addPrepared(const Entry& entry);
    void addWritten(const Entry& entry, std::string_view message, bool hasFailed);
    Open& openWritten(const Entry& entry, std::string_view type);
    void addRead(const Entry& entry, std::string_view message);
    void addWrongMessage(const Entry& entry);
    void addOther(const Entry& entry);
    void adoptAnnounced(Exchange& exchange);
    void endDirectCall(Open& chosen);

    std::list<Open> m_open;   ///< the one that was touched last is the last
    std::size_t m_opened = 0; ///< how many have been opened
    std::vector<Exchange> m_finished;
    std::string m_announced; ///< a message that the terminal started, until somebody handles it
    Time m_announcedAt = 0;
    bool m_hasJustEnded = false; ///< a direct call, and nothing has begun since
};

} // namespace pdactl::log
