#include "analysis/Exchange.h"
#include "analysis/FilePackets.h"
#include "analysis/Lists.h"
#include "analysis/MessageEnvelope.h"
#include "analysis/TransactionTable.h"
#include "device/Channel.h"
#include "util/FileLog.h"

#include <algorithm>

// Both directions take their packets one by one, each in an exchange of its own.

namespace pdalink {

namespace {

constexpr int kTooShort = 5;
constexpr int kRefusedTooOften = 6;

constexpr std::size_t kMinCharacters = 10;
constexpr int kMaxRefusals = 3;      // in a row
constexpr int kMaxTimeouts = 3;      // of a whole transfer to the host
constexpr int kMaxAttempts = 3;      // for one packet
constexpr int kMaxIdleReplies = 100; // in a row that bring nothing new

void logWarning(const char* text) {
    g_PDA_Log.AddLog(pdalink::Warning, text);
}

QString checkTextOf(const QString& hexText) {
    const QByteArray bytes = hexText.toUtf8();
    const FilePacket packet{bytes.constData(), static_cast<std::size_t>(bytes.size()),
                            static_cast<std::size_t>(hexText.size())};
    return QString::fromLatin1(packet.checkText());
}

/// The tags of one packet of a file that is sent.
QString packetTags(const FileText& text, int index) {
    const FilePacket packet = text.packet(index);
    return taggedText("Ex_TotalPkt", QString::number(text.packets())) +
           taggedText("Ex_CurPkt", QString::number(index)) +
           taggedText("Ex_HexVal", QString::fromUtf8(packet.text, static_cast<int>(packet.bytes))) +
           taggedText("Ex_HexCheck", QString::fromLatin1(packet.checkText()));
}

/// One transfer to the host.
class Fetch {
public:
    explicit Fetch(const Call& call) : m_call(call) {}

    int run() {
        std::optional<int> result;
        while (!result) {
            result = step();
        }
        return *result;
    }

private:
    /// Asks for one packet. Nothing while the transfer goes on, its result at its end.
    std::optional<int> step() {
        if (!sendRequest(m_call, taggedText("Ex_CurPkt", QString::number(m_current)))) {
            return kNotSent;
        }
        ++m_attempts;
        const std::optional<Reply> reply = acceptReply(m_call.row, takeBuffer());
        if (reply && !reply->isSuccess()) {
            return answered(*reply);
        }
        if (!reply || !hasUsableNumber(*reply)) {
            return m_attempts < kMaxAttempts ? std::nullopt : std::optional(kNoReply);
        }
        return take(*reply);
    }

    /// Waits for data as long as the budget lasts; once it is spent, not at all.
    QString takeBuffer() {
        QString received;
        while (m_waitBudget > 0 && received.isEmpty()) {
            received = pdalink::channel::receive();
            m_waitBudget -= received.isEmpty() ? 1 : 0;
        }
        return received;
    }

    static int number(const Reply& reply, const char* tag) {
        return leadingInteger(reply.field(tag).toUtf8());
    }

    static bool hasUsableNumber(const Reply& reply) {
        const int current = number(reply, "Ex_CurPkt");
        return current >= 0 && current < kMaxPackets;
    }

    std::optional<int> take(const Reply& reply) {
        m_current = number(reply, "Ex_CurPkt");
        const QString hexText = reply.field("Ex_HexVal");
        const QString check = reply.field("Ex_HexCheck");
        if (check != checkTextOf(hexText)) {
            logMessage("pda return crc error:" + check.toStdString());
            return idleReply();
        }
        const bool isNew = !m_packets.has(m_current);
        m_packets.store(m_current, hexText.toUtf8());
        if (m_packets.size() > kMaxCharacters) {
            logWarning("file transfer given up: more data than a file can have");
            return kInternalFailure;
        }
        ++m_current;
        if (m_current == number(reply, "Ex_TotalPkt")) {
            m_packets.copyTo(m_call.outputs[0]);
            return answered(reply);
        }
        m_attempts = 0;
        m_PerformTasksYN = 0;
        if (isNew) {
            m_idleReplies = 0;
            return {};
        }
        return idleReply();
    }

    /// Counts a reply that brought nothing new: a terminal may send those forever.
    std::optional<int> idleReply() {
        ++m_idleReplies;
        if (m_idleReplies < kMaxIdleReplies) {
            return {};
        }
        logWarning("file transfer given up: the terminal brings no new packet");
        return kNoReply;
    }

    int answered(const Reply& reply) const {
        m_call.lastOutput().copy(reply.field("Ex_RetCode").toUtf8());
        return kReplied;
    }

    const Call& m_call;
    int m_current = 0;
    int m_attempts = 0;
    int m_waitBudget = kMaxTimeouts;
    int m_idleReplies = 0;
    PacketTable m_packets;
};

} // namespace

int sendFile(const Call& call) {
    const char* const file = call.inputs[3].text();
    const FileText text(file);
    if (text.characters() < kMinCharacters) {
        logMessage(std::string("file is too short:") + file);
        return kTooShort;
    }
    int current = 0;
    int refusals = 0;
    // As many passes as packets, those spent on repeats included.
    for (int pass = 0; pass < text.packets(); ++pass) {
        if (!sendRequest(call, packetTags(text, current))) {
            return kNotSent;
        }
        const std::optional<Reply> reply = receiveReply(call.row);
        if (!reply) {
            writeNoData(call);
            return kNoReply;
        }
        if (reply->isSuccess()) {
            refusals = 0;
            ++current;
        } else {
            ++refusals;
            current = std::max(current - 1, 0); // the packet before is sent again too
        }
        if (refusals >= kMaxRefusals) {
            logMessage("data send error. already send:" + std::to_string(refusals) + " times");
            return kRefusedTooOften;
        }
        copyFields(call, *reply);
        m_PerformTasksYN = 0;
    }
    return kReplied;
}

int fetchFile(const Call& call) {
    return Fetch(call).run();
}

} // namespace pdalink
