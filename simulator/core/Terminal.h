#pragma once

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

/** A text for the host, to be cut into padded reports. */
struct SendText {
    std::string text;
};
struct Unplug {};
struct Replug {};
using Step = std::variant<SendText, Unplug, Replug>;

/** Something that the terminal does so long after the write that caused it. */
struct TimedStep {
    std::chrono::milliseconds after;
    Step step;
};

/** How a host's write ends, and what follows from it, in order of time. */
struct WriteOutcome {
    /** 0, or the errno with which the write fails. */
    int error = 0;
    /** What the write returns when it does not fail. */
    std::size_t accepted = 0;
    std::vector<TimedStep> steps;
};

/**
 * The terminal itself: the bytes of one host write in, what it does about them out.
 *
 * It knows neither files nor threads nor clocks; whoever owns it carries the steps out. Not thread-safe.
 */
class Terminal {
public:
    /** Any message type, for addFault(). */
    static constexpr std::string_view AnyType = "*";

    TerminalState& state() { return m_state; }

    /** Faults strike in the order in which they were added; each message meets one at most. */
    void addFault(std::string_view type, Fault fault);
    void clearFaults();

    /** One host write. `localTime` is the terminal's clock as yyyyMMddhhmmss, for the reply's Ex_TrTime. */
    WriteOutcome handleWrite(std::string_view bytes, std::string_view localTime);

    /** A host opened the node, or a write of its never reached the terminal. */
    void allowSequenceGap() { m_checker.allowSequenceGap(); }

    const std::vector<std::string>& received() const { return m_received; }
    const std::vector<std::string>& violations() const { return m_violations; }
    std::vector<std::string> takeViolations() { return std::exchange(m_violations, {}); }

private:
    Fault takeFault(const std::string& type);
    std::string composeReply(const CheckedMessage& request, const Fault& fault, std::string_view localTime);

    TerminalState m_state;
    MessageChecker m_checker;
    std::deque<std::pair<std::string, Fault>> m_faults;
    std::vector<std::string> m_received;
    std::vector<std::string> m_violations;
};

} // namespace pdasim
