#pragma once

#include "Channel.h"
#include "Host.h"
#include "MessageKinds.h"
#include "MessageSplitter.h"

#include <QJsonObject>

#include <chrono>
#include <optional>
#include <string>

namespace pdactl {

/** When to stop listening, and what to do meanwhile. */
struct ListenOptions {
    std::optional<int> seconds;
    std::optional<int> count;  ///< of messages, or of logins with `onlyLogin`
    bool onlyLogin = false;    ///< nothing but logins counts
    std::string answerToLogin; ///< six digits; empty for no answer
};

/**
 * What every host has to do to get the messages that the terminal starts: takes what came from the channel,
 * cuts it into messages and hands each to its handler.
 *
 * A handler empties the receive buffer. Messages are handed over only while no other is half received;
 * one that begins to arrive at that very moment is lost all the same.
 */
class Listener {
public:
    Listener(ListenOptions options, bool asJson, bool verbose);

    /** Listens until the end that the options tell, or a signal. Returns the exit code. */
    int run();

private:
    void listen();
    void takeWhatCame();
    void handOver(const QString& message);
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
