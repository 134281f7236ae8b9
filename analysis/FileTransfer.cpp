#include "analysis/Exchange.h"
#include "analysis/FilePackets.h"
#include "analysis/Lists.h"
#include "analysis/Transactions.h"
#include "device/Channel.h"
#include "util/FileLog.h"

#include <algorithm>

// Both directions take their packets one by one, each in an exchange of its own.

namespace {

constexpr int kTooShort = 5;
constexpr int kRefused = 6;

constexpr int kShortest = 10;         // characters of a file
constexpr int kMostRefusals = 2;      // in a row
constexpr int kWaitBudget = 3;        // waits in vain, of a whole transfer to the host
constexpr int kMostAttempts = 2;      // for one packet, before a missing reply counts
constexpr int kMostIdleReplies = 100; // in a row that bring nothing new

const Transaction kSendPacket{
    "8015",
    nullptr,
    "600015",
    {"Ex_PdaSn", "Ex_CmdEx", "Ex_InfoEx", "Ex_TotalPkt", "Ex_CurPkt", "Ex_HexVal", "Ex_HexCheck"},
    {"Ex_RetCode"},
};

const Transaction kFetchPacket{
    "8016", nullptr, "600016", {"Ex_PdaSn", "Ex_CmdEx", "Ex_InfEx", "Ex_CurPkt"}, // not Ex_InfoEx
    {},                                                                           // taken one by one
};

void logWarning(const char* text) {
    g_PDA_Log.AddLog(pdalink::Warning, text);
}

QString checkTextOf(const QString& hexText) {
    const QByteArray bytes = hexText.toUtf8();
    const FilePacket packet{bytes.constData(), static_cast<std::size_t>(bytes.size()),
                            static_cast<std::size_t>(hexText.size())};
    return QString::fromLatin1(packet.checkText());
}

bool isSuccess(const Reply& reply) {
    return reply.field("Ex_RetCode") == QLatin1String(kSuccess);
}

int sendFile(const Inputs& inputs, const Outputs& outputs) {
    const FileText text(inputs[3].text());
    if (text.characters() < kShortest) {
        logMessage(std::string("file is too short:") + inputs[3].text());
        m_PerformTasksYN = 0;
        return kTooShort;
    }
    const int total = text.packets();
    int current = 0;
    int refusals = 0;
    // As many passes as packets, those spent on repeats included.
    for (int pass = 0; pass < total; ++pass) {
        const FilePacket packet = text.packet(current);
        const QByteArray check = packet.checkText();
        const Inputs body{inputs[0],        inputs[1], inputs[2],
                          &total,           &current,  Input(packet.text, packet.bytes),
                          check.constData()};
        const int result = exchange(kSendPacket, body, outputs, [&](const Reply& reply) {
            if (isSuccess(reply)) {
                refusals = 0;
                ++current;
            } else {
                ++refusals;
                current = std::max(current - 1, 0); // the packet before is sent again too
            }
            if (refusals <= kMostRefusals) {
                copyFields(kSendPacket, reply, outputs);
            }
        });
        if (result != kReplied) {
            return result;
        }
        if (refusals > kMostRefusals) {
            logMessage("data send error. already send:" + std::to_string(refusals) + " times");
            return kRefused;
        }
    }
    return kReplied;
}

/// One transfer to the host.
class Fetch {
public:
    Fetch(const Inputs& inputs, const Outputs& outputs) : m_inputs(inputs), m_outputs(outputs) {}

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
        const Inputs body{m_inputs[0], m_inputs[1], m_inputs[2], &m_current};
        if (!sendRequest(kFetchPacket, body)) {
            return kNotSent;
        }
        ++m_attempts;
        const std::optional<Reply> reply = acceptReply(kFetchPacket, takeBuffer());
        if (reply && !isSuccess(*reply)) {
            return answered(*reply);
        }
        if (!reply || !hasUsableNumber(*reply)) {
            return m_attempts <= kMostAttempts ? std::nullopt : std::optional(finished(kNoReply));
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
        return current >= 0 && current < kMostPackets;
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
        if (m_packets.size() > kMostCharacters) {
            logWarning("file transfer given up: more data than a file can have");
            return finished(kInternalFailure);
        }
        ++m_current;
        if (m_current == number(reply, "Ex_TotalPkt")) {
            m_packets.copyTo(m_outputs.texts[0]);
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

    /// Counts a reply that brought nothing new: a terminal may send those for ever.
    std::optional<int> idleReply() {
        ++m_idleReplies;
        if (m_idleReplies < kMostIdleReplies) {
            return {};
        }
        logWarning("file transfer given up: the terminal brings no new packet");
        return finished(kNoReply);
    }

    int answered(const Reply& reply) const {
        m_outputs.texts[1].copy(reply.field("Ex_RetCode").toUtf8());
        return finished(kReplied);
    }

    static int finished(int result) {
        m_PerformTasksYN = 0;
        return result;
    }

    const Inputs& m_inputs;
    const Outputs& m_outputs;
    int m_current = 0;
    int m_attempts = 0;
    int m_waitBudget = kWaitBudget;
    int m_idleReplies = 0;
    PacketTable m_packets;
};

} // namespace

int transactions::readFileDataToPda(const Inputs& inputs, const Outputs& outputs) {
    return guardedTask([&] {
        logMessage("[ReadFileDataToPDA] begin");
        return sendFile(inputs, outputs);
    });
}

int transactions::receiveDataSaveToFile(const Inputs& inputs, const Outputs& outputs) {
    return guardedTask([&] {
        logMessage("[ReceiveDataSaveToFile] begin");
        return Fetch(inputs, outputs).run();
    });
}
