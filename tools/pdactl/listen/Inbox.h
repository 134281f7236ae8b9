#pragma once

#include "Host.h"
#include "listen/MessageSplitter.h"

#include <optional>
#include <string>
#include <vector>

namespace pdactl {

/// A message that the terminal started, after the library's handler has taken it.
struct TerminalMessage {
    const Transaction* kind; ///< what the handler's row says of it
    std::string type;        ///< four digits
    std::vector<Field> fields;
    int result; ///< of the handler: 0 unless its acknowledgement could not be written

    bool isLogin() const { return type == "9002"; }
    bool isAcknowledged() const { return kind->end == End::Written && result == 0; }

    /// Without what became of it afterwards.
    QJsonObject json() const;
    /// Of that, and of what became of it. The kind is under this name.
    static QJsonArray schemas(const char* kindName);
};

/// What every host has to do to get the messages that the terminal starts: keeps the channel open while the
/// terminal comes and goes, takes what has come from it, cuts it into messages and hands each to its handler.
///
/// A handler empties the receive buffer. Messages are handed over only while no other is half received; one
/// that begins to arrive at that very moment is lost all the same.
class Inbox {
public:
    explicit Inbox(const Host& host) : m_host(host) {}

    /// Opens the channel, which takes a moment. False without a terminal.
    bool open();

    /// Opens it again when the terminal has gone and come back; tells people of both.
    void keepOpen();

    /// Hands over the oldest message that has come whole, if that can be done now.
    std::optional<TerminalMessage> take();

    /// Answers a login with six digits. False when the answer could not be written.
    bool answerLogin(const TerminalMessage& login, std::string code) const;

    /// How many messages have come that nobody has taken.
    std::size_t waiting() const { return m_splitter.messages.size(); }
    /// Part of one more is there.
    bool isUnfinished() const { return m_splitter.isUnfinished(); }

private:
    void receive();
    std::optional<TerminalMessage> handOver(const QString& message) const;

    const Host& m_host;
    MessageSplitter m_splitter;
    bool m_isGone = false;
    bool m_hasBeenOpen = false;
    MessageSplitter::Clock::time_point m_lastTry{};
};

} // namespace pdactl
