#include "Commands.h"
#include "Signals.h"
#include "listen/Inbox.h"

#include <pdalink/util/Util.h>

#include <chrono>
#include <iostream>
#include <optional>
#include <utility>

namespace pdactl {

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned int kPause = 10; // milliseconds

/// When to stop listening, and what to do meanwhile.
struct ListenOptions {
    std::optional<int> seconds;
    std::optional<int> count;  ///< of messages, or of logins with `onlyLogin`
    bool onlyLogin = false;    ///< nothing but logins counts
    std::string answerToLogin; ///< six digits; empty for no answer
};

/// Prints the messages that the terminal starts.
class Listener {
public:
    Listener(ListenOptions options, const Settings& settings)
        : m_options(std::move(options)), m_asJson(settings.asJson), m_host(settings) {}

    /// Listens until the end that the options tell, or a signal. Returns the exit code.
    int run() {
        const BlockedSignals blocked; // the library's threads inherit that
        if (!m_inbox.open()) {
            throw Failure(NotSent,
                          "There is no terminal to listen to. Plug it in; run 'pdactl doctor' if it is.");
        }
        try {
            listen(blocked);
        } catch (const Failure&) {
            warnOfTheRest();
            throw;
        }
        warnOfTheRest();
        if (m_exitCode == Success && m_options.count && !isDone()) {
            fail(NoReply, "Only " + std::to_string(m_counted) + " of " + std::to_string(*m_options.count) +
                              " messages came in time. Listen longer with --seconds.");
        }
        return m_exitCode;
    }

private:
    void listen(const BlockedSignals& blocked) {
        const auto end = Clock::now() + std::chrono::seconds(m_options.seconds.value_or(0));
        complain(m_options.seconds ? "listening" : "listening; end with Ctrl-C");
        while (!isDone() && !blocked.arriveWithin(0) && !(m_options.seconds && Clock::now() >= end)) {
            m_inbox.keepOpen();
            if (const std::optional<TerminalMessage> message = m_inbox.take()) {
                report(*message);
            } else {
                CUtil::Delay_MSec(kPause);
            }
        }
    }

    void report(const TerminalMessage& message) {
        if (message.result != 0) {
            fail(NotSent, "The acknowledgement of a message could not be written. Run 'pdactl doctor' to "
                          "find out why.");
        }
        QJsonObject document = message.json();
        if (message.isLogin() && !m_options.answerToLogin.empty()) {
            document.insert("answered", answerLogin(message));
        }
        show(message, document);
        m_counted += !m_options.onlyLogin || message.isLogin() ? 1 : 0;
    }

    bool answerLogin(const TerminalMessage& login) {
        const bool isAnswered = m_inbox.answerLogin(login, m_options.answerToLogin);
        if (!isAnswered) {
            fail(NotSent, "The answer to a login could not be written. Run 'pdactl doctor' to find out why.");
        }
        return isAnswered;
    }

    void show(const TerminalMessage& message, const QJsonObject& document) const {
        if (m_asJson) {
            std::cout << lineOf(document).constData();
        } else {
            std::cout << message.kind->help << " (" << message.type << ")\n";
            printTable(message.fields);
            std::cout << '\n';
        }
        requireOutput();
    }

    void fail(ExitCode exitCode, const std::string& message) {
        m_exitCode = exitCode;
        complain(message);
    }

    bool isDone() const { return m_options.count && m_counted >= *m_options.count; }

    void warnOfTheRest() const {
        if (m_inbox.waiting() > 0 || m_inbox.isUnfinished()) {
            complain("warning: " + std::to_string(m_inbox.waiting()) +
                     " more messages came, and were not acknowledged" +
                     (m_inbox.isUnfinished() ? "; of another one only the beginning" : ""));
        }
    }

    ListenOptions m_options;
    bool m_asJson;
    Host m_host;
    Inbox m_inbox{m_host};
    int m_counted = 0;
    ExitCode m_exitCode = Success;
};

void setListening(CLI::App& command, Program& program, const std::shared_ptr<ListenOptions>& options,
                  const char* secondsHelp) {
    command.add_option("--seconds", options->seconds, secondsHelp)->check(CLI::PositiveNumber);
    setAction(command, program, [&program, options] {
        if (!options->answerToLogin.empty()) {
            requireAnswer(options->answerToLogin);
        }
        return Listener(*options, program).run();
    });
}

} // namespace

void addListenCommands(Program& program) {
    const auto options = std::make_shared<ListenOptions>();
    CLI::App* const listen =
        program.app.add_subcommand("listen", "Receive the messages that the terminal starts");
    setListening(*listen, program, options, "end after N seconds");
    listen->add_option("--count", options->count, "end after N messages")->check(CLI::PositiveNumber);
    listen->add_option("--answer-login", options->answerToLogin,
                       "answer every login with this code, 000000 to let the user in");
    listen->footer("Every message is acknowledged as it is printed. With --json each is one line.\n"
                   "Example: pdactl listen --seconds 60 --answer-login 000000");
    const auto untilLogin = std::make_shared<ListenOptions>();
    untilLogin->count = 1;
    untilLogin->onlyLogin = true;
    CLI::App& wait = addCommand(program, {"login", "wait"}, "Wait until a user logs in at the terminal", "");
    setListening(wait, program, untilLogin, "wait no longer than that");
    wait.footer("Messages of other kinds that come meanwhile are acknowledged and printed too.\n"
                "Example: pdactl login wait --seconds 60");
}

} // namespace pdactl
