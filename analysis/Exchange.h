#pragma once

#include "analysis/ResultStores.h"
#include "analysis/Transaction.h"
#include "util/Guard.h"

#include <QByteArray>
#include <QString>

#include <optional>
#include <string>

namespace pdalink {

/// A reply of the expected type.
class Reply {
public:
    explicit Reply(const QString& text) : m_bytes(text.toUtf8()) {}

    /// The value of a tag, empty when the reply does not carry it.
    QString field(const char* tag) const;

    /// The terminal's result code is that for success.
    bool isSuccess() const { return field("Ex_RetCode") == QLatin1String(kSuccess); }

    /// The whole reply in UTF-8.
    const QByteArray& bytes() const { return m_bytes; }

private:
    QByteArray m_bytes;
};

/// Carries out the transaction of a row.
int run(const Call& call);

/// Runs the steps of something that uses the channel. A failure becomes the result of an internal failure. In
/// the end the task flag is lowered, unless the message could not be written.
template <typename Body>
int guardedTask(const Results& results, const Body& body) {
    const int result = guarded(body, [&] { return results.failure; });
    if (results.lowersFlag && result != kNotSent) {
        m_PerformTasksYN = 0;
    }
    return result;
}

/// Writes a line of level 1, however long.
void logMessage(const std::string& line);

/// Starts the receiver when none is running, and gives it the time to open the node.
void openChannel();

/// The usual steps, with `moreTags` at the end of the request.
int exchange(const Call& call, const QString& moreTags);

/// Builds the message with `moreTags` at its end, raises the task flag, opens the channel if need be, and
/// sends. False when the message was not written whole.
bool sendRequest(const Call& call, const QString& moreTags);

/// The steps of a message that the terminal does not answer, with `moreTags` at its end.
int sendOnly(const Call& call, const QString& moreTags);

/// The reply in what was received; nothing when that is empty. A message of another type is logged and
/// dropped, for good.
std::optional<Reply> acceptReply(const Transaction& row, const QString& received);

/// Waits for the reply.
std::optional<Reply> receiveReply(const Transaction& row);

/// Copies the reply's tags into the outputs.
void copyFields(const Call& call, const Reply& reply);

/// Writes what there is to write without a reply.
void writeNoData(const Call& call);

} // namespace pdalink
