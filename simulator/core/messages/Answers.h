#pragma once

#include "core/MessageTable.h"

#include <string_view>
#include <vector>

namespace pdasim {

// The messages that the terminal answers, by family.

std::vector<MessageRow> terminalDataRows();
std::vector<MessageRow> bagRows();
std::vector<MessageRow> fileRows();
std::vector<MessageRow> lockRows();

/// A reply that says yes and nothing else.
Reply accepted();

/// The six tags of a confirmation, their names after the prefix.
void addConfirmation(Tags& tags, std::string_view prefix, const Confirmation& confirmation);

/// The confirmations of the parties A, B and C.
void addParties(Tags& tags, const HandoverResult& result);

} // namespace pdasim
