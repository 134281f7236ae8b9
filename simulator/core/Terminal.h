#pragma once

#include "core/Announcement.h"
#include "core/Fault.h"
#include "core/MessageChecker.h"
#include "core/TerminalState.h"

#include <chrono>
#include <cstddef>
#include <deque>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace pdasim {

/// A text for the host, to be cut into padded reports.
struct SendText {
    std::string text;
};
struct Unplug {};
struct Replug {};
using Step = std::variant<SendText, Unplug, Replug>;

/// Something that the terminal does that long after the write that caused it.
struct TimedStep {
    std::chrono::milliseconds after;
    Step step;
};

/// How a host's write ends, and what follows from it, in order of time.
struct WriteOutcome {
    /// 0, or the errno with which the write fails.
    int error = 0;
    /// What the write returns when it does not fail.
    std::size_t accepted = 0;
    std::vector<TimedStep> steps;
};

/// The terminal itself: the bytes of one host write in, what it does about them out.
///
/// It knows neither files nor threads nor clocks; whoever owns it carries the steps out. Not thread-safe.
class Terminal {
public:
    /// Any message type, for addFault().
    static constexpr std::string_view AnyType = "*";

    TerminalState& state() { return m_state; }
    const TerminalState& state() const { return m_state; }

    /// Faults strike in the order in which they were added; each message meets one at most. All of them count
    /// the messages of their kind.
    void addFault(std::string_view type, Fault fault);
    void clearFaults();

    /// One host write. `localTime` is the terminal's clock as yyyyMMddhhmmss, for the reply's Ex_TrTime.
    WriteOutcome handleWrite(std::string_view bytes, std::string_view localTime);

    /// A host opened the node, or a write of its never reached the terminal.
    void allowSequenceGap() { m_checker.allowSequenceGap(); }

    /// The bytes of a message that the terminal starts. A scanned label joins the terminal's own list.
    std::string announce(const Announcement& announcement, std::string_view localTime);
    const std::vector<Acknowledgement>& acknowledgements() const {
        return m_announcements.acknowledgements();
    }

    const std::vector<std::string>& received() const { return m_received; }
    /// The same taken apart, one for one.
    const std::vector<ParsedMessage>& messages() const { return m_messages; }
    const std::vector<std::string>& violations() const { return m_violations; }
    std::vector<std::string> takeViolations() { return std::exchange(m_violations, {}); }

private:
    void addViolations(const std::string& type, const std::vector<std::string>& violations);
    Fault takeFault(const ParsedMessage& message);
    /// The reply to a message that has reached the terminal; empty when there is none.
    std::string respond(const CheckedMessage& checked, const Fault& fault, std::string_view localTime);
    std::string composeReply(const CheckedMessage& checked, const Fault& fault, std::string_view localTime);
    /// Lays a reply out in time, as the fault demands. An empty reply is one that does not come; the device
    /// may still go and come back.
    static std::vector<TimedStep> layOut(const std::string& reply, const Fault& fault);

    TerminalState m_state;
    MessageChecker m_checker;
    std::deque<std::pair<std::string, Fault>> m_faults;
    Announcements m_announcements;
    std::vector<std::string> m_received;
    std::vector<ParsedMessage> m_messages;
    std::vector<std::string> m_violations;
};

} // namespace pdasim
