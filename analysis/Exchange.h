#pragma once

#include "analysis/ResultStores.h"
#include "analysis/Values.h"
#include "util/Guard.h"

#include <QByteArray>
#include <QString>

#include <optional>
#include <string>
#include <vector>

// Results of a transaction.
constexpr int kReplied = 0;
constexpr int kInternalFailure = 1;
constexpr int kNoReply = 2;
constexpr int kNotSent = -1;

/// The terminal's verdict when it agrees.
constexpr char kSuccess[] = "000000";
/// Result code for the host when the terminal gave no usable reply.
constexpr char CS_ERROR_DEV_NODATA[] = "000060";

/// How the value of a body tag is written.
enum class Encoding { AsItIs, Gbk };

/// One tag of a request's body.
struct BodyTag {
    BodyTag(const char* name, Encoding encoding = Encoding::AsItIs)
        : name(name), encoding(encoding) {} // NOLINT(google-explicit-constructor)

    const char* name;
    Encoding encoding;
};

/// What a message is made of: UTF-8 text, or bytes that are sent as they are.
enum class Content { Text, Bytes };

/// How often the receive buffer is taken while it comes back empty.
enum class Waits { Once = 1, Twice = 2 };

/// What a transaction without a usable reply writes.
enum class NoData { IntoLastText, Nothing };

/// One request and its reply, as the protocol's table states them.
struct Transaction {
    const char* type;                   ///< message type of the request and of its reply
    const char* begin;                  ///< log line at the beginning; null for none
    const char* sendLabel;              ///< stands before " SendData pre: " in the log; null for no such line
    std::vector<BodyTag> bodyTags;      ///< one per input, in the order sent
    std::vector<const char*> replyTags; ///< one per text output
    Waits waits = Waits::Once;
    NoData noData = NoData::IntoLastText;
    const char* typeLabel = "Xml Type:"; ///< stands before the reply's type in the log
    Content content = Content::Text;
};

/// A reply of the expected type.
class Reply {
public:
    explicit Reply(const QString& text) : m_bytes(text.toUtf8()) {}

    /// The value of a tag, empty when the reply does not carry it.
    QString field(const char* tag) const;

    /// The whole reply in UTF-8.
    const QByteArray& bytes() const { return m_bytes; }

private:
    QByteArray m_bytes;
};

// The steps of an exchange, for transactions that differ in more than their row.

/// Runs a transaction's steps. A failure lowers the task flag and becomes the result of an internal failure.
template <typename Steps>
int guardedTask(const Steps& steps) {
    return guarded(steps, [] {
        m_PerformTasksYN = 0;
        return kInternalFailure;
    });
}

/// Writes a line of level 1, however long.
void logMessage(const std::string& line);

/// Starts the receiver when none is running, and gives it the time to open the node.
void openChannel();

/// Builds the message, raises the task flag, opens the channel if need be, and sends. False when the message
/// was not written whole; the task flag then stays up.
bool sendRequest(const Transaction& transaction, const Inputs& inputs);

/// Sends a message that the terminal does not answer. Returns a transaction's result.
int sendOnly(const Transaction& message, const Inputs& inputs);

/// The reply in what was received; nothing when that is empty. A message of another type is logged and
/// dropped, for good.
std::optional<Reply> acceptReply(const Transaction& transaction, const QString& received);

/// Waits for the reply.
std::optional<Reply> receiveReply(const Transaction& transaction);

/// Copies the reply's tags into the text outputs.
void copyFields(const Transaction& transaction, const Reply& reply, const Outputs& outputs);

/// What is written for want of a reply.
void writeNoData(const Transaction& transaction, const Outputs& outputs);

/// Carries out one whole exchange: builds the message from `inputs`, sends it, waits for the reply and gives
/// it to `take`. Returns one of the results above. A template, so that whatever fails, fails inside the
/// guard.
template <typename Take>
int exchange(const Transaction& transaction, const Inputs& inputs, const Outputs& outputs, const Take& take) {
    return guardedTask([&] {
        if (transaction.begin != nullptr) {
            logMessage(transaction.begin);
        }
        if (!sendRequest(transaction, inputs)) {
            return kNotSent; // the task flag stays up
        }
        const std::optional<Reply> reply = receiveReply(transaction);
        if (reply) {
            take(*reply);
        } else {
            writeNoData(transaction, outputs);
        }
        m_PerformTasksYN = 0;
        return reply ? kReplied : kNoReply;
    });
}

/// The same, with the reply's tags copied into the text outputs.
int exchange(const Transaction& transaction, const Inputs& inputs, const Outputs& outputs);
