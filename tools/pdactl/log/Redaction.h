#pragma once

#include "log/Entries.h"
#include "log/MessagePieces.h"
#include "log/Traffic.h"

#include <string>
#include <string_view>
#include <vector>

namespace pdactl::log {

/// Masks the secrets of a log's entries. They may come in several parts: a value that one entry breaks off is
/// masked in the following ones too, even if that is all that they hold.
class Redactor {
public:
    void redact(std::vector<Entry>& entries);

private:
    std::size_t redactOne(std::vector<Entry>& entries, std::size_t index);
    MessagePieces& piecesOf(LineKind kind, std::string_view payload, MessagePieces& own);
    std::vector<Range> hiddenInHeadless(std::string_view text);

    MessagePieces m_received;
    MessagePieces m_beforeLastRead;
    std::string m_lastRead;
    std::string m_type; ///< of the last message read; empty when its header was not there
};

/// Masks the secrets of a log's entries, all that there are.
void redact(std::vector<Entry>& entries);

} // namespace pdactl::log
