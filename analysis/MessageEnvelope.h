#pragma once

#include <QString>

namespace pdalink {

/// "<tag>value</tag>".
QString taggedText(const char* tag, const QString& value);

/// Builds one message: a header of 50 characters, the time stamp, the sequence number, then the body tags in
/// the order in which they are added. Values are written as they are, without escaping.
class MessageEnvelope {
public:
    /// Begins a message of the four-digit `type`. Takes the next sequence number.
    explicit MessageEnvelope(const char* type);

    /// Appends "<tag>value</tag>".
    void add(const char* tag, const QString& value);

    /// Appends any number of such texts.
    void append(const QString& taggedTexts) { m_text += taggedTexts; }

    /// The whole message, with its length in characters in front.
    QString message() const;

    /// How many characters of body tags the length field of the next message can count.
    static qint64 longestBody();

    /// The type of a message from the terminal; shorter than four characters when the message is cut.
    static QString typeOf(const QString& message);

private:
    QString m_text; // from the type on
};

} // namespace pdalink
