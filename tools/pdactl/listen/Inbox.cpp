#include "listen/Inbox.h"

#include "schema/Schema.h"

#include <pdalink/analysis/ResultStores.h>
#include <pdalink/device/HIDDevice.h>
#include <pdalink/util/Util.h>

#include <QDateTime>

#include <unistd.h>

#include <algorithm>
#include <utility>

namespace pdactl {

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned int kStep = 10; // milliseconds
constexpr int kOpeningSteps = 100;
constexpr std::chrono::seconds kBetweenTries{1};
constexpr int kTypeOffset = 6;
constexpr int kTypeLength = 4;

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
    {"9002", "ReceiveLoginData", &CPDAXMLAnalysis::ReceiveLoginData, pda_LoginData},
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

} // namespace

QJsonObject TerminalMessage::json() const {
    return {{"type", QString::fromStdString(type)},
            {"kind", kind->help},
            {"time", QDateTime::currentDateTime().toString(Qt::ISODateWithMs)},
            {"acknowledged", isAcknowledged()},
            {"fields", jsonOf(fields)}};
}

QJsonArray TerminalMessage::schemas(const char* kindName) {
    QJsonArray all;
    for (const MessageKind& kind : kKinds) {
        schema::Members fields;
        for (const char* name : kind.transaction().outputs) {
            fields.push_back({name, {{"type", "string"}}});
        }
        schema::Members members = schema::members("time:string acknowledged:boolean answered:boolean");
        members.back().isOptional = true;
        members.insert(members.end(), {{kindName, {{"const", kind.transaction().help}}},
                                       {"type", {{"const", kind.type}}},
                                       {"fields", schema::object(fields)}});
        all.append(schema::object(members));
    }
    return all;
}

/// A receiver of the library's own opens the node.
bool Inbox::open() {
    m_host.call("the opening of the channel", [](CPDAXMLAnalysis& /*configuration*/) {
        (void)g_HIDDevice.openHidDevice();
        for (int step = 0; step < kOpeningSteps && !g_strSerialPort.isEmpty() && !isOpen(); ++step) {
            CUtil::Delay_MSec(kStep);
        }
    });
    m_lastTry = Clock::now();
    m_hasBeenOpen = m_hasBeenOpen || isOpen();
    return isOpen();
}

void Inbox::keepOpen() {
    if (isOpen()) {
        return;
    }
    if (!std::exchange(m_isGone, true)) {
        complain(m_hasBeenOpen ? "the terminal has gone; plug it in again, or end with Ctrl-C"
                               : "there is no terminal yet; plug it in, or run 'pdactl doctor' if it is");
    }
    if (Clock::now() - m_lastTry >= kBetweenTries && open()) {
        complain("the terminal is there");
        m_isGone = false;
    }
}

std::optional<TerminalMessage> Inbox::take() {
    receive();
    if (m_splitter.messages.empty() || m_splitter.isUnfinished() || g_isBufferCome) {
        return {};
    }
    const QString message = m_splitter.messages.front();
    m_splitter.messages.pop_front();
    return handOver(message);
}

bool Inbox::answerLogin(const TerminalMessage& login, std::string code) const {
    std::string pdaNumber = login.fields.front().value.toString().toStdString();
    int result = 0;
    m_host.call("SyncLoginResult", [&](CPDAXMLAnalysis& library) {
        result = library.SyncLoginResult(pdaNumber.data(), code.data());
    });
    return result == 0;
}

void Inbox::receive() {
    const auto now = Clock::now();
    if (g_isBufferCome) {
        m_splitter.add(g_HIDDevice.getBuffer(), now);
    }
    m_splitter.giveUpOld(now);
    for (const std::string& warning : std::exchange(m_splitter.warnings, {})) {
        complain("warning: " + warning);
    }
}

/// Nothing for a message that a terminal does not start.
std::optional<TerminalMessage> Inbox::handOver(const QString& message) const {
    const std::string type = message.mid(kTypeOffset, kTypeLength).toStdString();
    const auto* const kind = std::find_if(std::begin(kKinds), std::end(kKinds),
                                          [&](const MessageKind& each) { return type == each.type; });
    if (kind == std::end(kKinds)) {
        complain("warning: skipped a message of type " + type + ", which a terminal does not start");
        return {};
    }
    std::string text = message.toStdString();
    int result = 0;
    m_host.call(kind->member,
                [&](CPDAXMLAnalysis& library) { result = (library.*kind->handler)(text.data()); });
    return TerminalMessage{&kind->transaction(), type, takeFields(*kind), result};
}

} // namespace pdactl
