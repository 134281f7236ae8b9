#pragma once

#include "SimulatedTerminal.h"
#include "TestBed.h"
#include "control/ControlServer.h"
#include "pdasim/ActingUser.h"
#include "pdasim/TerminalOptions.h"
#include "pdasim/Trace.h"
#include "scenario/Scenario.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace pdasim {

/** What the first of the terminals is that the user has asked for. Throws std::invalid_argument. */
SimulatedTerminal::Options firstTerminal(const TerminalOptions& options);

/** The terminals that the user has asked for, plugged in, with everything that goes with them. */
class Desk {
public:
    /** Makes a terminal, which is not plugged in yet; its place among the others is counted from 0. */
    using MakeTerminal = std::function<std::unique_ptr<SimulatedTerminal>(
        std::size_t place, const SimulatedTerminal::Options& options)>;

    /** Throws std::invalid_argument for options that make no sense, std::system_error for files that cannot
     * be had. Without a path in the options or here nobody can command the terminals. */
    Desk(const TerminalOptions& options, const MakeTerminal& makeTerminal,
         const std::string& controlPath = {});
    /** Terminals in a test bed, which can be commanded through a socket in its folder. */
    Desk(const TerminalOptions& options, TestBed& testBed);
    Desk(const Desk&) = delete;
    Desk& operator=(const Desk&) = delete;
    ~Desk() = default;

    /** A line for each terminal: where it is, and under which ids. */
    std::vector<std::string> summary() const;
    /** What hosts have done against the protocol. */
    std::vector<std::string> violations() const;

private:
    void addTerminal(const Scenario& scenario, const TerminalOptions& options, const UsbIds& ids,
                     const MakeTerminal& makeTerminal);

    std::optional<Trace> m_trace;
    TrafficFeed m_feed;
    std::vector<UsbIds> m_ids;
    std::vector<std::unique_ptr<SimulatedTerminal>> m_terminals;
    std::vector<std::unique_ptr<ActingUser>> m_users;
    std::unique_ptr<ControlServer> m_control;
};

} // namespace pdasim
