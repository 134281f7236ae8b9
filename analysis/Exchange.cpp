#include "analysis/Exchange.h"

#include "analysis/MessageEnvelope.h"
#include "device/Channel.h"
#include "device/HIDDevice.h"
#include "util/FileLog.h"
#include "util/ForkSection.h"
#include "util/Util.h"

#include <QTextCodec>

#include <stdexcept>

namespace {

constexpr unsigned int kOpeningTime = 1000; // ms, for the receiver to open the node

QByteArray encoded(const QByteArray& value, Encoding encoding) {
    if (encoding == Encoding::AsItIs) {
        return value;
    }
    const pdalink::ForkSection section;
    const QTextCodec* const gbk = QTextCodec::codecForName("GBK");
    if (gbk == nullptr) {
        throw std::runtime_error("Qt has no text codec for GBK");
    }
    return gbk->fromUnicode(QString::fromLatin1(value));
}

QString buildRequest(const Transaction& transaction, const Inputs& inputs) {
    MessageEnvelope envelope(transaction.type);
    for (std::size_t i = 0; i < transaction.bodyTags.size(); ++i) {
        const BodyTag& tag = transaction.bodyTags[i];
        const QByteArray value = encoded(inputs[static_cast<int>(i)].bytes(), tag.encoding);
        // Bytes travel as characters of the same number, so that the length field counts them.
        envelope.add(tag.name, transaction.content == Content::Bytes ? QString::fromLatin1(value)
                                                                     : QString::fromUtf8(value));
    }
    return envelope.message();
}

void logRequest(const char* label, const QByteArray& message) {
    const std::string line = label + (" SendData pre: " + message.toStdString());
    g_PDA_Log.AddLog(pdalink::Info, line.c_str()); // AddLogEx has a bound
}

/// Builds the message, raises the task flag and opens the channel if need be. Returns the bytes to be sent.
QByteArray prepare(const Transaction& transaction, const Inputs& inputs) {
    const QString request = buildRequest(transaction, inputs);
    QByteArray bytes = transaction.content == Content::Bytes ? request.toLatin1() : request.toUtf8();
    m_PerformTasksYN = 1;
    openChannel();
    if (transaction.sendLabel != nullptr) {
        logRequest(transaction.sendLabel, bytes);
    }
    return bytes;
}

bool send(const Transaction& transaction, const QByteArray& bytes) {
    return transaction.content == Content::Bytes
               ? pdalink::channel::sendBytes(bytes.constData(), bytes.size())
               : pdalink::channel::sendText(bytes);
}

} // namespace

QString Reply::field(const char* tag) const {
    QString value;
    // The extraction reads its texts only; its parameters are older than const.
    CUtil::GetXMLValue(value, const_cast<char*>(m_bytes.constData()), m_bytes.size(), const_cast<char*>(tag));
    return value;
}

// Lines may be of any length, so they are composed without AddLogEx's bound.
void logMessage(const std::string& line) {
    g_PDA_Log.AddLog(pdalink::Message, line.c_str());
}

void openChannel() {
    if (!g_hidRun) {
        pdalink::channel::open();
        CUtil::Delay_MSec(kOpeningTime);
    }
}

bool sendRequest(const Transaction& transaction, const Inputs& inputs) {
    const QByteArray message = prepare(transaction, inputs);
    if (g_isBufferCome) {
        g_PDA_Log.AddLog(pdalink::Warning,
                         "an earlier message was not taken: the wait for the reply is cut short");
    }
    return send(transaction, message);
}

int sendOnly(const Transaction& message, const Inputs& inputs) {
    if (!send(message, prepare(message, inputs))) {
        return kNotSent;
    }
    m_PerformTasksYN = 0;
    return kReplied;
}

std::optional<Reply> acceptReply(const Transaction& transaction, const QString& received) {
    if (received.isEmpty()) {
        return {};
    }
    const QString type = MessageEnvelope::typeOf(received);
    logMessage(transaction.typeLabel + type.toStdString() + " len:" + std::to_string(type.size()));
    if (type != QLatin1String(transaction.type)) {
        logMessage("Read XML:" + received.toStdString() + " ---Wrong Command --Delete");
        return {};
    }
    return Reply(received);
}

std::optional<Reply> receiveReply(const Transaction& transaction) {
    QString received;
    for (int wait = 0; wait < static_cast<int>(transaction.waits) && received.isEmpty(); ++wait) {
        received = pdalink::channel::receive();
    }
    return acceptReply(transaction, received);
}

void copyFields(const Transaction& transaction, const Reply& reply, const Outputs& outputs) {
    for (std::size_t i = 0; i < transaction.replyTags.size(); ++i) {
        outputs.texts[static_cast<int>(i)].copy(reply.field(transaction.replyTags[i]).toUtf8());
    }
}

void writeNoData(const Transaction& transaction, const Outputs& outputs) {
    if (transaction.noData == NoData::IntoLastText) {
        outputs.texts.back().copy(CS_ERROR_DEV_NODATA);
    }
}

int exchange(const Transaction& transaction, const Inputs& inputs, const Outputs& outputs) {
    return exchange(transaction, inputs, outputs,
                    [&](const Reply& reply) { copyFields(transaction, reply, outputs); });
}
