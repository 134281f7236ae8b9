#pragma once

#include "Transactions.h"
#include "log/Entries.h"

#include <array>
#include <list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace pdactl::log {

/// Who began it.
enum class Origin {
    Request,  ///< a host with a request
    Direct,   ///< a host that called a member of the library
    Terminal, ///< the terminal
};

/// How it ended.
enum class Outcome {
    Done,
    RequestRefused,  ///< by the library
    TerminalRefused, ///< with another code than 000000
    NoReply,
    NotSent,
    TransferRefused, ///< three packets in a row
    TooShort,        ///< a file
    InternalFailure,
    Unfinished, ///< the log does not show its end
};

/// In the order of the outcomes.
constexpr std::array<std::string_view, 9> kOutcomeNames{
    "done",      "request-refused",  "terminal-refused", "no-reply", "not-sent", "transfer-refused",
    "too-short", "internal-failure", "unfinished",
};

/// How far an exchange has come, as far as its messages tell.
enum class Progress { Begun, Sent, Answered, Silent, NotSent, Finished };

/// What was said about one thing, from its first line in the log to its last.
struct Exchange {
    Time begin = 0;
    Time end = 0;
    std::size_t number = 0; ///< tells those apart that began at the same time
    /// Since the end of the exchange before; nothing for the first.
    std::optional<Time> gap;
    Origin origin = Origin::Request;
    Outcome outcome = Outcome::Unfinished;
    const Transaction* member = nullptr; ///< null when the log does not tell
    std::string code;                    ///< of the request
    std::string type;                    ///< of the messages
    std::optional<int> result;           ///< of the request
    std::optional<Outcome> told;         ///< what the log says came of it, without a number
    std::string resultCode;              ///< the terminal's
    std::string request;                 ///< the host's JSON
    std::string sent;                    ///< the first message to the terminal
    std::string received;                ///< the last message from it
    std::string response;                ///< JSON to the host
    int messagesSent = 0;
    int messagesReceived = 0;
    int timeouts = 0;
    int wrongMessages = 0;
    int failedWrites = 0;
    bool lacksBeginning = false; ///< the log begins in its middle
    bool isInterleaved = false;  ///< with others, so that its lines may be somebody else's
    std::vector<std::string> notes;

    Time duration() const { return end > begin ? end - begin : 0; }
    bool failed() const { return outcome != Outcome::Done; }
    std::string_view outcomeName() const { return kOutcomeNames.at(static_cast<std::size_t>(outcome)); }
    std::string_view originName() const;
    /// Its member, or its message's type.
    std::string call() const;
};

/// Puts exchanges in the order in which they began, and fills in the gaps before them. `end` is when those
/// before them ended.
void putInOrder(std::vector<Exchange>& exchanges, std::optional<Time>& end);

/// What a message says in this tag, the first if there are several; empty when it has none.
std::string_view tagValue(std::string_view message, std::string_view tag);

/// The number in a tag; 0 without one, as the library reads it.
long numberIn(std::string_view message, std::string_view tag);

/// The four digits after a message's length.
std::string_view typeOf(std::string_view message);

/// The terminal's result code for success.
constexpr std::string_view kAccepted = "000000";

/// Whether the library takes the reply for one: a packet needs a number.
bool isUsableReply(std::string_view message);

/// Fills in the terminal's result code and the outcome.
void judge(Exchange& exchange, Progress progress, bool isRefused);

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
