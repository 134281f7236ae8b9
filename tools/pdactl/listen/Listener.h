#pragma once

#include "Host.h"
#include "Outcome.h"
#include "Signals.h"
#include "listen/MessageSplitter.h"

#include <QJsonObject>

#include <chrono>
#include <optional>
#include <string>

namespace pdactl {

/// When to stop listening, and what to do meanwhile.
struct ListenOptions {
    std::optional<int> seconds;
    std::optional<int> count;  ///< of messages, or of logins with `onlyLogin`
    bool onlyLogin = false;    ///< nothing but logins counts
    std::string answerToLogin; ///< six digits; empty for no answer
};

/// A message that the terminal starts: the library's handler for it, and where that leaves its fields.
struct MessageKind;

/// The channel to the terminal, kept open while the terminal comes and goes.
class Channel {
public:
    explicit Channel(const Host& host) : m_host(host) {}

    /// Opens it. Throws a Failure when there is no terminal.
    void open();
    /// Opens it anew, every second at most, when the terminal has gone and is back.
    void keepOpen();

private:
    using Clock = std::chrono::steady_clock;

    bool tryToOpen();

    const Host& m_host;
    bool m_isGone = false;
    Clock::time_point m_lastTry{};
};

/// What every host has to do to get the messages that the terminal starts: takes what has come from the
/// channel, cuts it into messages and hands each to its handler.
///
/// A handler empties the receive buffer. Messages are handed over only while no other is half received; one
/// that begins to arrive at that very moment is lost all the same.
class Listener {
public:
    Listener(ListenOptions options, bool asJson, bool verbose);

    /// Listens until the end that the options tell, or a signal. Returns the exit code.
    int run();

private:
    void listen(const BlockedSignals& blocked);
    void takeReceived();
    void handleMessage(const QString& message);
    void answerLogin(const std::string& pdaNumber, QJsonObject& report);
    void show(const MessageKind& kind, const std::vector<Field>& fields, QJsonObject report);
    void complain(ExitCode exitCode, const std::string& message);
    bool isDone() const;
    void warnOfTheRest() const;
    int finish();

    ListenOptions m_options;
    bool m_asJson;
    Host m_host;
    Channel m_channel;
    MessageSplitter m_splitter;
    int m_counted = 0;
    ExitCode m_exitCode = Success;
};

} // namespace pdactl
