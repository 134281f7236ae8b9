#pragma once

#include "analysis/Values.h"

#include <QByteArray>
#include <QString>

#include <optional>
#include <vector>

// Results of a transaction.
constexpr int kReplied = 0;
constexpr int kInternalFailure = 1;
constexpr int kNoReply = 2;
constexpr int kNotSent = -1;

/// Result code for the host when the terminal gave no usable reply.
constexpr char CS_ERROR_DEV_NODATA[] = "000060";

/// How often the receive buffer is taken while it comes back empty.
enum class Waits { Once = 1, Twice = 2 };

/// What a transaction without a usable reply writes.
enum class NoData { IntoLastText, Nothing };

/// One request and its reply, as the protocol's table states them.
struct Transaction {
    const char* type;                   ///< message type of the request and of its reply
    const char* begin;                  ///< log line at the beginning
    const char* sendLabel;              ///< stands before " SendData pre: " in the log
    std::vector<const char*> bodyTags;  ///< one per input, in the order sent
    std::vector<const char*> replyTags; ///< one per text output
    Waits waits = Waits::Once;
    NoData noData = NoData::IntoLastText;
    const char* typeLabel = "Xml Type:"; ///< stands before the reply's type in the log
};

/// A reply of the expected type.
class Reply {
public:
    explicit Reply(const QString& text) : m_bytes(text.toUtf8()) {}

    /// The value of a tag, empty when the reply does not carry it.
    QString field(const char* tag) const;

private:
    QByteArray m_bytes;
};

/// Carries out one whole exchange: builds the message from `inputs`, sends it, waits for the reply and copies
/// its tags into the text outputs. Returns one of the results above.
int exchange(const Transaction& transaction, const Inputs& inputs, const Outputs& outputs);
