#pragma once

#include <QString>

namespace pdalink {

/// Every message begins with its length in characters, these digits included.
constexpr int kLengthDigits = 6;

/// The longest message that its length field can describe.
constexpr int kMaxMessageLength = 999999;

/// How many characters the message lacks of what its length field says; 0 when it is complete, or does not
/// begin with a length field.
int missingCharacters(const QString& message);

} // namespace pdalink
