#pragma once

#include "Transactions.h"
#include "log/Time.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
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

} // namespace pdactl::log
