#include "analysis/Exchange.h"

#include "analysis/MessageEnvelope.h"
#include "analysis/ResultStores.h"
#include "device/HIDDevice.h"
#include "util/FileLog.h"
#include "util/Guard.h"
#include "util/Util.h"

#include <string>

namespace {

constexpr unsigned int kOpeningTime = 1000; // ms, for the receiver to open the node

// Lines with text from outside are composed here, without AddLogEx's bound.
void logLine(pdalink::LogLevel level, const std::string& text) {
    g_PDA_Log.AddLog(level, text.c_str());
}

QString buildRequest(const Transaction& transaction, const Inputs& inputs) {
    MessageEnvelope envelope(transaction.type);
    for (std::size_t i = 0; i < transaction.bodyTags.size(); ++i) {
        envelope.add(transaction.bodyTags[i], QString::fromUtf8(inputs[static_cast<int>(i)].bytes()));
    }
    return envelope.message();
}

/// Raises the task flag, opens the channel if need be, and sends.
bool send(const QString& message, const std::string& sendLabel) {
    m_PerformTasksYN = 1;
    if (!g_hidRun) {
        g_HIDDevice.openHidDevice();
        CUtil::Delay_MSec(kOpeningTime);
    }
    logLine(pdalink::Info, sendLabel + " SendData pre: " + message.toStdString());
    return g_HIDDevice.SendData(message);
}

QString takeBuffer(Waits waits) {
    QString received;
    for (int wait = 0; wait < static_cast<int>(waits) && received.isEmpty(); ++wait) {
        received = g_HIDDevice.getBuffer();
    }
    return received;
}

/// Waits for the reply. A message of another type is logged and dropped, for good.
std::optional<Reply> receive(const Transaction& transaction) {
    const QString received = takeBuffer(transaction.waits);
    if (received.isEmpty()) {
        return {};
    }
    const QString type = MessageEnvelope::typeOf(received);
    logLine(pdalink::Message,
            transaction.typeLabel + type.toStdString() + " len:" + std::to_string(type.size()));
    if (type != QLatin1String(transaction.type)) {
        logLine(pdalink::Message, "Read XML:" + received.toStdString() + " ---Wrong Command --Delete");
        return {};
    }
    return Reply(received);
}

void copyFields(const Transaction& transaction, const Reply& reply, const Outputs& outputs) {
    for (std::size_t i = 0; i < transaction.replyTags.size(); ++i) {
        outputs.texts[static_cast<int>(i)].copy(reply.field(transaction.replyTags[i]).toUtf8());
    }
}

int exchangeUnguarded(const Transaction& transaction, const Inputs& inputs, const Outputs& outputs) {
    logLine(pdalink::Message, transaction.begin);
    const QString request = buildRequest(transaction, inputs);
    if (!send(request, transaction.sendLabel)) {
        return kNotSent; // the task flag stays up
    }
    const std::optional<Reply> reply = receive(transaction);
    if (reply) {
        copyFields(transaction, *reply, outputs);
    } else if (transaction.noData == NoData::IntoLastText) {
        outputs.texts.back().copy(CS_ERROR_DEV_NODATA);
    }
    m_PerformTasksYN = 0;
    return reply ? kReplied : kNoReply;
}

} // namespace

QString Reply::field(const char* tag) const {
    QString value;
    // The extraction reads its texts only; its parameters are older than const.
    CUtil::GetXMLValue(value, const_cast<char*>(m_bytes.constData()), m_bytes.size(), const_cast<char*>(tag));
    return value;
}

int exchange(const Transaction& transaction, const Inputs& inputs, const Outputs& outputs) {
    return guarded([&] { return exchangeUnguarded(transaction, inputs, outputs); },
                   [] {
                       m_PerformTasksYN = 0;
                       return kInternalFailure;
                   });
}
