#pragma once

#include "DeviceDescription.h"
#include "TerminalPort.h"
#include "TestBed.h"
#include "core/Announcement.h"
#include "core/Fault.h"
#include "core/MessageTable.h"
#include "core/Terminal.h"
#include "core/TerminalState.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace pdasim {

class NodePort;

/// What a simulated terminal is when it starts.
struct SimulatedTerminalOptions {
    DeviceDescription device;
    Identity identity;
    std::size_t reportSize = 64;
    /// False for a terminal that is plugged in by replug() only.
    bool plugged = true;
    /// Told about each text in either direction as it passes; must not call the terminal.
    std::function<void(Sender, const std::string&)> onTraffic;
};

/// A terminal behind a device node that this process, and programs started with the test bed's environment,
/// find through udev and use like a real one.
///
/// Plugged in when the constructor returns. All calls may come from any thread. The process has to be linked
/// with libumockdev-preload ahead of libc.
class SimulatedTerminal {
public:
    using Options = SimulatedTerminalOptions;

    /// Applies to every type of message, for addFault().
    static constexpr std::string_view AnyType = "*";

    /// A terminal in a test bed of its own.
    explicit SimulatedTerminal(Options options = Options());
    /// A terminal among the devices of a test bed, which has to outlive it.
    explicit SimulatedTerminal(TestBed& testBed, Options options = Options());
    /// A terminal anywhere else. What the port refers to has to outlive it.
    SimulatedTerminal(std::unique_ptr<TerminalPort> port, Options options);
    SimulatedTerminal(const SimulatedTerminal&) = delete;
    SimulatedTerminal& operator=(const SimulatedTerminal&) = delete;
    /// Unplugs the terminal. A client that still has the node open finds it gone.
    ~SimulatedTerminal();

    /// For a terminal in a test bed only.
    TestBed& testBed() { return *m_testBed; }

    void setIdentity(const Identity& identity) { locked()->state().identity = identity; }
    /// What the terminal remembers of the messages so far.
    TerminalState state() const { return locked()->state(); }
    /// Lets the test put into the terminal's memory what it likes; must not call the terminal.
    void changeState(const std::function<void(TerminalState&)>& change) { change(locked()->state()); }

    /// The next messages of the type (four digits, or AnyType) meet the fault; several faults strike in turn.
    /// The type is that of the host's message.
    void addFault(std::string_view type, const Fault& fault) { locked()->addFault(type, fault); }
    void clearFaults() { locked()->clearFaults(); }

    /// Every write of a host that the kernel's rules let through, whole, those that met a fault too.
    std::vector<std::string> received() const { return locked()->received(); }
    /// The same taken apart, one for one.
    std::vector<ParsedMessage> messages() const { return locked()->messages(); }
    /// True as soon as N writes have been received since the beginning; false when the time is over.
    bool waitForMessages(std::size_t count, std::chrono::milliseconds timeout) const;

    /// What hosts have done against the protocol so far.
    std::vector<std::string> violations() const { return locked()->violations(); }
    /// The same, and forgets it.
    std::vector<std::string> takeViolations() { return locked()->takeViolations(); }

    /// Sends a message that the terminal starts, and gives its text.
    std::string announce(const Announcement& announcement);
    /// What hosts have sent in response to announcements.
    std::vector<Acknowledgement> acknowledgements() const { return locked()->acknowledgements(); }

    /// Sends a text of the terminal's own in padded reports, as fast as the host reads them. In a test bed a
    /// host that does not read them loses those beyond its queue, as on a bus of full speed.
    void sendText(std::string_view text);
    /// Sends one report of exactly these bytes.
    void sendReport(std::string_view bytes);
    /// Reports that a full queue, an unplugging or the lack of a reader has swallowed. In a test bed only.
    std::size_t lostReports() const;

    void unplug();
    /// A node that is still open somewhere keeps its number; the terminal then comes back under another one.
    void replug();
    /// While refused, the node is there but opening it fails. In a test bed only.
    void refuseOpening(bool refuse);

    /// "/dev/hidrawN", or where else hosts find the terminal; empty while it is unplugged.
    std::string nodePath() const;
    /// How many open files there are on the terminal's nodes, unplugged ones included.
    int openDescriptors() const;

private:
    using Lock = std::unique_lock<std::mutex>;

    /// Gives access to the terminal's core until the end of the expression.
    template <typename Core>
    struct LockedCore {
        Lock lock;
        Core& core;

        Core* operator->() const { return &core; }
    };
    LockedCore<Terminal> locked() { return {lock(), m_core}; }
    LockedCore<const Terminal> locked() const { return {lock(), m_core}; }

    SimulatedTerminal(std::unique_ptr<TestBed> testBed, Options options);
    void start();

    /// What hosts do at the port. An object of its own: the port's thread may call while a class that is
    /// derived from the terminal's is still being constructed or is being destroyed already.
    class HostActions final : public NodeOwner {
    public:
        explicit HostActions(SimulatedTerminal& terminal) : m_terminal(terminal) {}

        void hostOpened() override { m_terminal.m_core.allowSequenceGap(); }
        WriteResult hostWrote(std::string_view bytes) override { return m_terminal.takeMessage(bytes); }
        void hostWriteFailed() override { m_terminal.m_core.allowSequenceGap(); }

    private:
        SimulatedTerminal& m_terminal;
    };

    NodeOwner::WriteResult takeMessage(std::string_view bytes);

    Lock lock() const { return Lock(m_port->loop().mutex()); }
    Lock settledLock() const;
    NodePort& node() const;
    void perform(int life, const Step& step);
    void sendLocked(std::string_view text);
    void unplugLocked();
    void tell(Sender sender, std::string_view text) const;

    HostActions m_hostActions{*this};
    std::unique_ptr<TestBed> m_ownTestBed;
    TestBed* m_testBed = nullptr;
    std::unique_ptr<TerminalPort> m_port;
    Options m_options;
    Terminal m_core;
    /// Counts the unpluggings.
    int m_life = 0;
    mutable std::condition_variable m_receivedCondition;
};

} // namespace pdasim
