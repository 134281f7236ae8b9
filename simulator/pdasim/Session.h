#pragma once

#include "SimulatedTerminal.h"
#include "TestBed.h"
#include "control/ControlServer.h"
#include "pdasim/ActingUser.h"
#include "pdasim/ChildProcess.h"
#include "pdasim/TerminalOptions.h"
#include "scenario/Scenario.h"

#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace pdasim {

/// Writes every message in either direction as a line with the time of day, as it happens.
class Trace {
public:
    /// "-" stands for standard error. Throws std::system_error when the file cannot be written.
    explicit Trace(const std::string& path);

    void write(Sender sender, const std::string& text);

private:
    struct Close {
        void operator()(std::FILE* file) const { (void)std::fclose(file); }
    };
    std::unique_ptr<std::FILE, Close> m_owned;
    std::FILE* m_file;
};

/// What the first of the terminals is that the user has asked for. Throws std::invalid_argument.
SimulatedTerminal::Options firstTerminal(const TerminalOptions& options);

/// The terminals that the user has asked for, plugged in, with everything that goes with them.
class Session {
public:
    /// Makes a terminal, which is not plugged in yet; its place among the others is counted from 0.
    using MakeTerminal = std::function<std::unique_ptr<SimulatedTerminal>(
        std::size_t place, const SimulatedTerminal::Options& options)>;

    /// Throws std::invalid_argument for options that make no sense, std::system_error for files that cannot
    /// be had. Without a path in the options or here nobody can command the terminals.
    Session(const TerminalOptions& options, const MakeTerminal& makeTerminal,
            const std::string& controlPath = {});
    /// Terminals in a test bed, which can be commanded through a socket in its folder.
    Session(const TerminalOptions& options, TestBed& testBed);
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session() = default;

    /// A line for each terminal: where it is, and under which ids.
    std::vector<std::string> summary() const;
    /// What hosts have done against the protocol.
    std::vector<std::string> violations() const;

private:
    void addTerminal(const Scenario& scenario, const TerminalOptions& options, const UsbIds& ids,
                     const MakeTerminal& makeTerminal);

    std::optional<Trace> m_trace;
    std::shared_ptr<TrafficFeed> m_feed = std::make_shared<TrafficFeed>();
    std::vector<UsbIds> m_ids;
    std::vector<std::unique_ptr<SimulatedTerminal>> m_terminals;
    std::vector<std::unique_ptr<ActingUser>> m_users;
    std::unique_ptr<ControlServer> m_control;
};

/// Tells where the terminals are and that they are ready, keeps them up until this process is asked to end,
/// and gives its exit code.
int serveUntilSignalled(const Session& session, const std::string& ready, const HeldSignals& signals);

} // namespace pdasim
