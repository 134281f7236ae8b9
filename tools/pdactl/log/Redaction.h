#pragma once

#include "log/Entries.h"

#include <string>
#include <vector>

namespace pdactl::log {

/// Masks the secrets of a log's entries, which may come in several parts.
///
/// What can be read as a whole loses nothing but the values of secret tags and members. Where a text is
/// damaged, cut or escaped, everything after the first name of a secret is masked, and of a message that is
/// not as long as it says everything but its header and its elements up to the first that is not whole.
class Redactor {
public:
    void redact(std::vector<Entry>& entries);

private:
    bool redactOne(Entry& entry);

    std::string m_type; ///< of the message read last; empty when its header was not there
};

} // namespace pdactl::log
