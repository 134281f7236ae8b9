#include "analysis/Exchange.h"

#include "analysis/Lists.h"
#include "analysis/MessageEnvelope.h"
#include "analysis/TransactionTable.h"
#include "device/Channel.h"
#include "device/HIDDevice.h"
#include "util/FileLog.h"
#include "util/ForkSection.h"
#include "util/Util.h"

#include <QTextCodec>

#include <cstring>
#include <stdexcept>

namespace pdalink {

namespace {

constexpr unsigned int kOpeningTime = 1000; // ms, for the receiver to open the node

QByteArray toGbk(const QByteArray& value) {
    const ForkSection section;
    const QTextCodec* const gbk = QTextCodec::codecForName("GBK");
    if (gbk == nullptr) {
        throw std::runtime_error("Qt has no text codec for GBK");
    }
    return gbk->fromUnicode(QString::fromLatin1(value));
}

QByteArray written(const Input& input, Form form) {
    QByteArray value = input.bytes();
    switch (form) {
    case Form::Gbk:
        return toGbk(value);
    case Form::ItemCount:
        return QByteArray::number(static_cast<int>(splitItems(value).size()));
    case Form::Text:
    case Form::Number:
        break;
    }
    return value;
}

/// The message's bytes.
QByteArray buildRequest(const Call& call, const QString& moreTags) {
    const bool isText = call.row.content == Content::Text;
    MessageEnvelope envelope(call.row.type);
    for (std::size_t i = 0; i < call.row.inputs.size(); ++i) {
        const RequestField& field = call.row.inputs[i];
        if (field.tag != nullptr) {
            const QByteArray value = written(call.inputs[i], field.form);
            // Bytes travel as characters of the same number, so that the length field counts them.
            envelope.add(field.tag, isText ? QString::fromUtf8(value) : QString::fromLatin1(value));
        }
    }
    envelope.append(moreTags);
    const QString message = envelope.message();
    return isText ? message.toUtf8() : message.toLatin1();
}

/// Builds the message, raises the task flag and opens the channel if need be. Returns the bytes to be sent.
QByteArray prepare(const Call& call, const QString& moreTags) {
    QByteArray bytes = buildRequest(call, moreTags);
    m_PerformTasksYN = 1;
    openChannel();
    if (call.row.sendLabel != nullptr) {
        const std::string line = call.row.sendLabel + (" SendData pre: " + bytes.toStdString());
        g_PDA_Log.AddLog(Info, line.c_str()); // AddLogEx has a bound
    }
    return bytes;
}

bool send(const Transaction& row, const QByteArray& bytes) {
    return row.content == Content::Bytes ? channel::sendBytes(bytes.constData(), bytes.size())
                                         : channel::sendText(bytes);
}

void copyValue(const QString& value, Copy copy, const Reply& reply, const Output& output) {
    switch (copy) {
    case Copy::Bytes:
        return output.copy(value.toUtf8());
    case Copy::Characters:
        return output.copyCharacters(value);
    case Copy::TerminatedOnSuccess:
        if (reply.isSuccess()) {
            output.copyTerminated(value.toUtf8());
        }
        return;
    case Copy::Terminated:
        return output.copyTerminated(value.toUtf8());
    case Copy::LabelCount:
        return output.setNumber(countLabels(value).labels);
    case Copy::LabelStride:
        return output.setNumber(countLabels(value).stride);
    case Copy::ListedLocks:
        return;
    }
}

} // namespace

QString Reply::field(const char* tag) const {
    QString value;
    // The extraction reads its texts only; its parameters are older than const.
    CUtil::GetXMLValue(value, const_cast<char*>(m_bytes.constData()), m_bytes.size(), const_cast<char*>(tag));
    return value;
}

int run(const Call& call) {
    return guardedTask(call.row.results, [&] {
        if (call.row.begin != nullptr) {
            logMessage(call.row.begin);
        }
        return call.row.steps(call);
    });
}

int exchange(const Call& call) {
    return exchange(call, {});
}

int exchange(const Call& call, const QString& moreTags) {
    const Transaction& row = call.row;
    if (!sendRequest(call, moreTags)) {
        return kNotSent;
    }
    const std::optional<Reply> reply = receiveReply(row);
    if (!reply) {
        writeNoData(call);
        return row.results.noReply;
    }
    copyFields(call, *reply);
    if (row.keep != nullptr) {
        row.keep(call, *reply);
    }
    return row.results.replied;
}

// Lines may be of any length, so they are composed without AddLogEx's bound.
void logMessage(const std::string& line) {
    g_PDA_Log.AddLog(Message, line.c_str());
}

void openChannel() {
    if (!g_hidRun) {
        channel::open();
        CUtil::Delay_MSec(kOpeningTime);
    }
}

bool sendRequest(const Call& call, const QString& moreTags) {
    const QByteArray message = prepare(call, moreTags);
    if (g_isBufferCome) {
        g_PDA_Log.AddLog(Warning, "an earlier message was not taken: the wait for the reply is cut short");
    }
    return send(call.row, message);
}

int sendOnly(const Call& call) {
    return sendOnly(call, {});
}

int sendOnly(const Call& call, const QString& moreTags) {
    return send(call.row, prepare(call, moreTags)) ? kReplied : kNotSent;
}

std::optional<Reply> acceptReply(const Transaction& row, const QString& received) {
    if (received.isEmpty()) {
        return {};
    }
    const QString type = MessageEnvelope::typeOf(received);
    logMessage(row.lines.type + type.toStdString() + " len:" + std::to_string(type.size()));
    if (type != QLatin1String(row.type)) {
        logMessage("Read XML:" + received.toStdString() + " ---Wrong Command --Delete");
        return {};
    }
    return Reply(received);
}

std::optional<Reply> receiveReply(const Transaction& row) {
    QString received;
    for (int wait = 0; wait < static_cast<int>(row.waits) && received.isEmpty(); ++wait) {
        received = channel::receive();
    }
    return acceptReply(row, received);
}

void copyFields(const Call& call, const Reply& reply) {
    const Transaction& row = call.row;
    if (row.lines.received != nullptr) {
        logMessage(row.lines.received + reply.field("Ex_RetCode").toStdString());
    }
    QString value;
    const char* extracted = "";
    for (std::size_t i = 0; i < row.outputs.size(); ++i) {
        const ReplyField& field = row.outputs[i];
        if (field.copy == Copy::ListedLocks) {
            continue; // see appendLockLists
        }
        if (std::strcmp(field.tag, extracted) != 0) { // one value can have several outputs
            value = reply.field(field.tag);
            extracted = field.tag;
        }
        copyValue(value, field.copy, reply, call.outputs[i]);
    }
}

void writeNoData(const Call& call) {
    if (call.row.lines.timedOut != nullptr) {
        logMessage(call.row.lines.timedOut);
    }
    if (call.row.noReply == NoReply::WritesNoData) {
        call.lastOutput().copy(CS_ERROR_DEV_NODATA);
    }
}

} // namespace pdalink
