#include "Commands.h"
#include "Signals.h"
#include "listen/MessageSplitter.h"

#include <pdalink/analysis/ResultStores.h>
#include <pdalink/device/HIDDevice.h>
#include <pdalink/util/Util.h>

#include <QDateTime>
#include <QJsonDocument>

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <optional>
#include <utility>

namespace pdactl {

namespace {

using Clock = MessageSplitter::Clock;

constexpr unsigned int kPause = 10; // milliseconds
constexpr int kOpeningSteps = 100;
constexpr std::chrono::seconds kBetweenTries{1};
constexpr int kTypeOffset = 6;
constexpr int kTypeLength = 4;
constexpr const char* kLoginType = "9002";

/// When to stop listening, and what to do meanwhile.
struct ListenOptions {
    std::optional<int> seconds;
    std::optional<int> count;  ///< of messages, or of logins with `onlyLogin`
    bool onlyLogin = false;    ///< nothing but logins counts
    std::string answerToLogin; ///< six digits; empty for no answer
};

/// A message that the terminal starts: the library's handler for it, and where that leaves its fields.
struct MessageKind {
    const char* type;
    const char* member;
    int (CPDAXMLAnalysis::*handler)(char*);
    QString* store;

    const Transaction& transaction() const { return *findMember(member); }
};

// clang-format off
const MessageKind kKinds[] = {
    {"9001", "ReceiveScanResult", &CPDAXMLAnalysis::ReceiveScanResult, pda_ScanLabel},
    {kLoginType, "ReceiveLoginData", &CPDAXMLAnalysis::ReceiveLoginData, pda_LoginData},
    {"9003", "ReceiveRandomNumber", &CPDAXMLAnalysis::ReceiveRandomNumber, pda_RandomNumber},
    {"9004", "ReceiveInventoryData", &CPDAXMLAnalysis::ReceiveInventoryData, pda_GetInventoryRet},
    {"9005", "ReceiveHandoverDotData", &CPDAXMLAnalysis::ReceiveHandoverDotData, pda_HandoverDotData},
    {"9006", "ReceiveHandoverPowerData", &CPDAXMLAnalysis::ReceiveHandoverPowerData, pda_HandoverPowerData},
};
// clang-format on

/// What the handler has left of a message; the store is empty again then.
std::vector<Field> takeFields(const MessageKind& kind) {
    std::vector<Field> fields;
    QString* slot = kind.store;
    for (const char* name : kind.transaction().outputs) {
        fields.push_back({name, std::exchange(*slot, QString())}); // the next label finds the first pair free
        ++slot;
    }
    return fields;
}

bool isOpen() {
    return g_hidRun && g_fd >= 0 && ::access(g_strSerialPort.toUtf8().constData(), F_OK) == 0;
}

/// What every host has to do to get the messages that the terminal starts: keeps the channel open while the
/// terminal comes and goes, takes what has come from it, cuts it into messages and hands each to its handler.
///
/// A handler empties the receive buffer. Messages are handed over only while no other is half received; one
/// that begins to arrive at that very moment is lost all the same.
class Listener {
public:
    Listener(ListenOptions options, const Settings& settings)
        : m_options(std::move(options)), m_asJson(settings.asJson), m_host(settings) {}

    /// Listens until the end that the options tell, or a signal. Returns the exit code.
    int run() {
        const BlockedSignals blocked; // the library's threads inherit that
        if (!tryToOpen()) {
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
    /// A receiver of the library's own opens the node; that takes a moment.
    bool tryToOpen() {
        m_host.call([](CPDAXMLAnalysis& /*configuration*/) {
            (void)g_HIDDevice.openHidDevice();
            for (int step = 0; step < kOpeningSteps && !g_strSerialPort.isEmpty() && !isOpen(); ++step) {
                CUtil::Delay_MSec(kPause);
            }
        });
        m_lastTry = Clock::now();
        return isOpen();
    }

    void keepOpen() {
        if (isOpen()) {
            return;
        }
        if (!std::exchange(m_isGone, true)) {
            complain("the terminal has gone; plug it in again, or end with Ctrl-C");
        }
        if (Clock::now() - m_lastTry >= kBetweenTries && tryToOpen()) {
            complain("the terminal is back");
            m_isGone = false;
        }
    }

    void listen(const BlockedSignals& blocked) {
        const auto end = Clock::now() + std::chrono::seconds(m_options.seconds.value_or(0));
        complain(m_options.seconds ? "listening" : "listening; end with Ctrl-C");
        while (!isDone() && !blocked.arriveWithin(0) && !(m_options.seconds && Clock::now() >= end)) {
            keepOpen();
            takeReceived();
            if (!m_splitter.messages.empty() && !m_splitter.isUnfinished() && !g_isBufferCome) {
                const QString message = m_splitter.messages.front();
                m_splitter.messages.pop_front();
                handleMessage(message);
            } else {
                CUtil::Delay_MSec(kPause);
            }
        }
    }

    void takeReceived() {
        const auto now = Clock::now();
        if (g_isBufferCome) {
            m_splitter.add(g_HIDDevice.getBuffer(), now);
        }
        m_splitter.giveUpOld(now);
        for (const std::string& warning : std::exchange(m_splitter.warnings, {})) {
            complain("warning: " + warning);
        }
    }

    void handleMessage(const QString& message) {
        const std::string type = message.mid(kTypeOffset, kTypeLength).toStdString();
        const auto* const kind = std::find_if(std::begin(kKinds), std::end(kKinds),
                                              [&](const MessageKind& each) { return type == each.type; });
        if (kind == std::end(kKinds)) {
            complain("warning: skipped a message of type " + type + ", which a terminal does not start");
            return;
        }
        std::string text = message.toStdString();
        int result = 0;
        m_host.call([&](CPDAXMLAnalysis& library) { result = (library.*kind->handler)(text.data()); });
        const std::vector<Field> fields = takeFields(*kind);
        QJsonObject report{{"acknowledged", kind->transaction().end == End::Written && result == 0}};
        if (result != 0) {
            fail(NotSent, "The acknowledgement of a message could not be written. Run 'pdactl doctor' to "
                          "find out why.");
        }
        if (type == kLoginType && !m_options.answerToLogin.empty()) {
            report.insert("answered", answerLogin(fields.front().value.toString().toStdString()));
        }
        show(*kind, fields, report);
        m_counted += !m_options.onlyLogin || type == kLoginType ? 1 : 0;
    }

    bool answerLogin(std::string pdaNumber) {
        int result = 0;
        m_host.call([&](CPDAXMLAnalysis& library) {
            result = library.SyncLoginResult(pdaNumber.data(), m_options.answerToLogin.data());
        });
        if (result != 0) {
            fail(NotSent, "The answer to a login could not be written. Run 'pdactl doctor' to find out why.");
        }
        return result == 0;
    }

    void show(const MessageKind& kind, const std::vector<Field>& fields, QJsonObject report) const {
        if (m_asJson) {
            report.insert("type", kind.type);
            report.insert("kind", kind.transaction().help);
            report.insert("time", QDateTime::currentDateTime().toString(Qt::ISODateWithMs));
            report.insert("fields", jsonOf(fields));
            std::cout << QJsonDocument(report).toJson(QJsonDocument::Compact).constData() << '\n';
        } else {
            std::cout << kind.transaction().help << " (" << kind.type << ")\n";
            printTable(fields);
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
        if (!m_splitter.messages.empty() || m_splitter.isUnfinished()) {
            complain("warning: " + std::to_string(m_splitter.messages.size()) +
                     " more messages came, and were not acknowledged" +
                     (m_splitter.isUnfinished() ? "; of another one only the beginning" : ""));
        }
    }

    ListenOptions m_options;
    bool m_asJson;
    Host m_host;
    MessageSplitter m_splitter;
    bool m_isGone = false;
    Clock::time_point m_lastTry{};
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
