#pragma once

#include <memory>
#include <optional>
#include <string>

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
    /// Sends a file of so many packets; throws when the terminal does not take it.
    virtual void sendFile(int packets) = 0;
    /// Waits for a message until the time allowed is over; throws when one comes.
    virtual void waitInVain() = 0;
};

/// The library's channel.
std::unique_ptr<Channel> openLibraryChannel(const std::string& path);

/// What a small program would do that writes, polls once, sleeps once and reads, and nothing else.
std::unique_ptr<Channel> openBareChannel(const std::string& path);

} // namespace pdalink::bench
