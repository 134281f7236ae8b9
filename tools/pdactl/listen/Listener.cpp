#include "listen/Listener.h"

#include "Failure.h"

#include <pdalink/analysis/PDAXMLAnalysis.h>
#include <pdalink/analysis/ResultStores.h>
#include <pdalink/device/HIDDevice.h>
#include <pdalink/util/Util.h>

#include <QDateTime>
#include <QJsonDocument>

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <utility>

namespace pdactl {

struct MessageKind {
    const char* type;
    const char* member;
    int (CPDAXMLAnalysis::*handler)(char*);
    QString* store;

    const Transaction& transaction() const { return *findMember(member); }
};

namespace {

constexpr unsigned int kPause = 10; // milliseconds
constexpr int kOpeningSteps = 100;
constexpr std::chrono::seconds kBetweenTries{1};
constexpr int kTypeOffset = 6;
constexpr int kTypeLength = 4;
constexpr const char* kLoginType = "9002";

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

/// Null for a type that the terminal does not start.
const MessageKind* findKind(const std::string& type) {
    const auto* const found = std::find_if(std::begin(kKinds), std::end(kKinds),
                                           [&](const MessageKind& kind) { return type == kind.type; });
    return found != std::end(kKinds) ? found : nullptr;
}

/// What the handler has left of a message; the store is empty again then.
std::vector<Field> takeFields(const MessageKind& kind) {
    std::vector<Field> fields;
    QString* slot = kind.store;
    for (const char* name : kind.transaction().outputs) {
        fields.push_back({name, slot->toStdString()});
        slot->clear(); // so that the next label finds the first pair free again
        ++slot;
    }
    return fields;
}

bool isOpen() {
    return g_hidRun && g_fd >= 0 && ::access(g_strSerialPort.toUtf8().constData(), F_OK) == 0;
}

QJsonObject toJson(const std::vector<Field>& fields) {
    QJsonObject object;
    for (const Field& field : fields) {
        object.insert(QString::fromStdString(field.name), QString::fromStdString(field.value));
    }
    return object;
}

} // namespace

void Channel::open() {
    if (!tryToOpen()) {
        throw Failure(NotSent,
                      "There is no terminal to listen to. Plug it in; run 'pdactl doctor' if it is.");
    }
}

void Channel::keepOpen() {
    if (isOpen()) {
        return;
    }
    if (!m_isGone) {
        std::cerr << "pdactl: the terminal has gone; plug it in again, or end with Ctrl-C" << std::endl;
        m_isGone = true;
    }
    if (Clock::now() - m_lastTry >= kBetweenTries && tryToOpen()) {
        std::cerr << "pdactl: the terminal is back" << std::endl;
        m_isGone = false;
    }
}

/// A receiver of the library's own opens the node; that takes a moment.
bool Channel::tryToOpen() {
    m_host.call([](CPDAXMLAnalysis& /*configuration*/) {
        (void)g_HIDDevice.openHidDevice();
        for (int step = 0; step < kOpeningSteps && !g_strSerialPort.isEmpty() && !isOpen(); ++step) {
            CUtil::Delay_MSec(kPause);
        }
    });
    m_lastTry = Clock::now();
    return isOpen();
}

Listener::Listener(ListenOptions options, bool asJson, bool verbose)
    : m_options(std::move(options)), m_asJson(asJson), m_host(verbose), m_channel(m_host) {
}

int Listener::run() {
    const BlockedSignals blocked; // the library's threads inherit that
    m_channel.open();
    try {
        listen(blocked);
    } catch (const Failure&) {
        warnOfTheRest();
        throw;
    }
    return finish();
}

void Listener::listen(const BlockedSignals& blocked) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(m_options.seconds.value_or(0));
    std::cerr << "pdactl: listening" << (m_options.seconds ? "" : "; end with Ctrl-C") << std::endl;
    while (!isDone() && !blocked.arriveWithin(0) &&
           !(m_options.seconds && std::chrono::steady_clock::now() >= end)) {
        m_channel.keepOpen();
        takeReceived();
        if (m_splitter.whole() > 0 && !m_splitter.isUnfinished() && !g_isBufferCome) {
            handleMessage(*m_splitter.next());
        } else {
            CUtil::Delay_MSec(kPause);
        }
    }
}

void Listener::takeReceived() {
    const auto now = MessageSplitter::Clock::now();
    if (g_isBufferCome) {
        m_splitter.add(g_HIDDevice.getBuffer(), now);
    }
    m_splitter.giveUpOld(now);
    for (const std::string& warning : m_splitter.takeWarnings()) {
        std::cerr << "pdactl: warning: " << warning << std::endl;
    }
}

void Listener::handleMessage(const QString& message) {
    const std::string type = message.mid(kTypeOffset, kTypeLength).toStdString();
    const MessageKind* const kind = findKind(type);
    if (kind == nullptr) {
        std::cerr << "pdactl: warning: skipped a message of type " << type
                  << ", which a terminal does not start" << std::endl;
        return;
    }
    std::string text = message.toStdString();
    int result = 0;
    m_host.call([&](CPDAXMLAnalysis& library) { result = (library.*kind->handler)(text.data()); });
    const std::vector<Field> fields = takeFields(*kind);
    QJsonObject report{{"acknowledged", kind->transaction().end == End::Written && result == 0}};
    if (result != 0) {
        complain(NotSent, "The acknowledgement of a message could not be written. Run 'pdactl doctor' to "
                          "find out why.");
    }
    if (type == kLoginType && !m_options.answerToLogin.empty()) {
        answerLogin(fields.front().value, report);
    }
    show(*kind, fields, report);
    m_counted += !m_options.onlyLogin || type == kLoginType ? 1 : 0;
}

void Listener::answerLogin(const std::string& pdaNumber, QJsonObject& report) {
    std::string number = pdaNumber;
    std::string answer = m_options.answerToLogin;
    int result = 0;
    m_host.call(
        [&](CPDAXMLAnalysis& library) { result = library.SyncLoginResult(number.data(), answer.data()); });
    report.insert("answered", result == 0);
    if (result != 0) {
        complain(NotSent, "The answer to a login could not be written. Run 'pdactl doctor' to find out why.");
    }
}

void Listener::show(const MessageKind& kind, const std::vector<Field>& fields, QJsonObject report) {
    if (m_asJson) {
        report.insert("type", kind.type);
        report.insert("kind", kind.transaction().help);
        report.insert("time", QDateTime::currentDateTime().toString(Qt::ISODateWithMs));
        report.insert("fields", toJson(fields));
        std::cout << QJsonDocument(report).toJson(QJsonDocument::Compact).constData() << '\n';
    } else {
        std::cout << kind.transaction().help << " (" << kind.type << ")\n";
        printTable(fields);
        std::cout << '\n';
    }
    requireOutput();
}

void Listener::complain(ExitCode exitCode, const std::string& message) {
    m_exitCode = exitCode;
    std::cerr << "pdactl: " << message << std::endl;
}

bool Listener::isDone() const {
    return m_options.count && m_counted >= *m_options.count;
}

void Listener::warnOfTheRest() const {
    if (m_splitter.whole() > 0 || m_splitter.isUnfinished()) {
        std::cerr << "pdactl: warning: " << m_splitter.whole()
                  << " more messages came, and were not acknowledged"
                  << (m_splitter.isUnfinished() ? "; of another one only the beginning" : "") << std::endl;
    }
}

int Listener::finish() {
    warnOfTheRest();
    if (m_exitCode == Success && m_options.count && !isDone()) {
        complain(NoReply, "Only " + std::to_string(m_counted) + " of " + std::to_string(*m_options.count) +
                              " messages came in time. Listen longer with --seconds.");
    }
    return m_exitCode;
}

} // namespace pdactl
