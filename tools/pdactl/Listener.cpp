#include "Listener.h"

#include "Failure.h"
#include "FieldTable.h"
#include "Interrupts.h"

#include <pdalink/analysis/PDAXMLAnalysis.h>
#include <pdalink/device/HIDDevice.h>
#include <pdalink/util/Util.h>

#include <QDateTime>
#include <QJsonDocument>

#include <iostream>
#include <utility>

namespace pdactl {

namespace {

constexpr unsigned int Pause = 10; // milliseconds
constexpr int TypeOffset = 6;
constexpr int TypeLength = 4;

QJsonObject toJson(const std::vector<Field>& fields) {
    QJsonObject object;
    for (const Field& field : fields) {
        object.insert(QString::fromStdString(field.name), QString::fromStdString(field.value));
    }
    return object;
}

} // namespace

Listener::Listener(ListenOptions options, bool asJson, bool verbose)
    : m_options(std::move(options)), m_asJson(asJson), m_host(verbose), m_channel(m_host) {
}

int Listener::run() {
    m_channel.open();
    try {
        listen();
    } catch (const Failure&) {
        warnOfTheRest();
        throw;
    }
    return finish();
}

void Listener::listen() {
    const Interrupts interrupts;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(m_options.seconds.value_or(0));
    std::cerr << "pdactl: listening" << (m_options.seconds ? "" : "; end with Ctrl-C") << std::endl;
    while (!isDone() && !interrupts.came() &&
           !(m_options.seconds && std::chrono::steady_clock::now() >= end)) {
        m_channel.keepOpen();
        takeWhatCame();
        if (m_splitter.whole() > 0 && !m_splitter.isUnfinished() && !g_isBufferCome) {
            handOver(*m_splitter.next());
        } else {
            CUtil::Delay_MSec(Pause);
        }
    }
}

void Listener::takeWhatCame() {
    const auto now = MessageSplitter::Clock::now();
    if (g_isBufferCome) {
        m_splitter.add(g_HIDDevice.getBuffer(), now);
    }
    m_splitter.giveUpOld(now);
    for (const std::string& warning : m_splitter.takeWarnings()) {
        std::cerr << "pdactl: warning: " << warning << std::endl;
    }
}

void Listener::handOver(const QString& message) {
    const std::string type = message.mid(TypeOffset, TypeLength).toStdString();
    const MessageKind* const kind = findKind(type);
    if (kind == nullptr) {
        std::cerr << "pdactl: warning: skipped a message of type " << type
                  << ", which a terminal does not start" << std::endl;
        return;
    }
    std::string text = message.toStdString();
    int result = 0;
    m_host.call([&] {
        CPDAXMLAnalysis library;
        result = (library.*kind->handler)(text.data());
    });
    const std::vector<Field> fields = takeFields(*kind);
    QJsonObject report{{"acknowledged", kind->isAcknowledged && result == 0}};
    if (result != 0) {
        complain(NotSent, "The acknowledgement of a message could not be written. Run 'pdactl doctor' to "
                          "find out why.");
    }
    if (type == LoginType && !m_options.answerToLogin.empty()) {
        answerLogin(fields.front().value, report);
    }
    show(*kind, fields, report);
    m_counted += !m_options.onlyLogin || type == LoginType ? 1 : 0;
}

void Listener::answerLogin(const std::string& pdaNumber, QJsonObject& report) {
    std::string number = pdaNumber;
    std::string answer = m_options.answerToLogin;
    int result = 0;
    m_host.call([&] {
        CPDAXMLAnalysis library;
        result = library.SyncLoginResult(number.data(), answer.data());
    });
    report.insert("answered", result == 0);
    if (result != 0) {
        complain(NotSent, "The answer to a login could not be written. Run 'pdactl doctor' to find out why.");
    }
}

void Listener::show(const MessageKind& kind, const std::vector<Field>& fields, QJsonObject report) {
    if (m_asJson) {
        report.insert("type", kind.type);
        report.insert("kind", kind.name);
        report.insert("time", QDateTime::currentDateTime().toString(Qt::ISODateWithMs));
        report.insert("fields", toJson(fields));
        std::cout << QJsonDocument(report).toJson(QJsonDocument::Compact).constData() << '\n';
    } else {
        std::cout << kind.name << " (" << kind.type << ")\n";
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
