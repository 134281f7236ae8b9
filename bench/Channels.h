#pragma once

#include <memory>
#include <optional>
#include <string>
#include <thread>

namespace pdalink::bench {

/// An open channel over a node: the calling thread, which sends and waits, and perhaps a receiver thread.
class Channel {
public:
    Channel() = default;
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;
    /// Closes the channel; its receiver has ended afterwards.
    virtual ~Channel() = default;

    /// The receiver's thread, by the kernel's number; nothing without one.
    virtual std::optional<int> receiverThread() const = 0;
    /// Asks the terminal who it is; throws when it does not say.
    virtual void exchange() = 0;
    /// Sends a file of this many packets; throws when the terminal does not take it.
    virtual void sendFile(int packets) = 0;
    /// Waits for a message until the time allowed is over; throws when one comes.
    virtual void waitInVain() = 0;
};

/// The library's channel.
std::unique_ptr<Channel> openLibraryChannel(const std::string& path);

/// What a small program would do that writes, polls once, sleeps once and reads, and nothing else.
std::unique_ptr<Channel> openBareChannel(const std::string& path);

/// A device node behind which a terminal answers at once: the two ends of a pseudo-terminal that passes all
/// bytes on as they are.
class PseudoTerminal {
public:
    PseudoTerminal();
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;
    ~PseudoTerminal();

    const std::string& path() const { return m_path; }

    /// Takes the terminal away from whoever has the node open.
    void hangUp();

private:
    void answerUntilStopped() const;

    int m_master;
    int m_stop;
    int m_slave = -1;
    std::string m_path;
    std::thread m_answering;
};

} // namespace pdalink::bench
