#pragma once

#include "Outcome.h"

#include <QByteArray>
#include <QString>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace pdactl {

/// A message to the terminal as the library will build it: header, time stamp, sequence number, body tags.
///
/// It is built here too, so that it can be checked and shown without a call of the library.
class Message {
public:
    /// What the values are: text, or bytes that go out as they are and are counted as such.
    enum class Content { Text, Bytes };

    /// The first message of a process, of this four-digit type.
    Message(const std::string& type, Content content);

    void open(const char* tag) { m_text += QString("<%1>").arg(tag); }
    void close(const char* tag) { m_text += QString("</%1>").arg(tag); }
    void add(const char* tag, std::string_view value);

    /// The whole message, its length in front. Bytes are characters of the same number.
    QString text() const;
    /// The same with "*" in place of each character of a secret value.
    QString masked() const;
    /// As it goes out.
    QByteArray toBytes(const QString& text) const;

private:
    Content m_content;
    QString m_text;                               ///< from the type on
    std::vector<std::pair<int, int>> m_secrets{}; ///< where secret values begin in it, and their lengths
};

/// The message of a request of which all values are there; the first one of a file.
Message messageOf(const Transaction& transaction, const Values& values);

/// In how many packets a file's text goes out.
int packetsOf(std::string_view text);

/// True when a message is to be sent now; a dry run prints it instead. Throws a Failure for one that is too
/// long to be written.
bool isToBeSent(const Message& message, const Settings& settings);

} // namespace pdactl
