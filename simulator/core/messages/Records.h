#pragma once

#include "core/Message.h"
#include "core/state/Bags.h"

#include <string_view>

namespace pdasim {

/** The six tags of a confirmation, their names behind the prefix. */
void addConfirmation(Tags& tags, std::string_view prefix, const Confirmation& confirmation);

/** The confirmations of the parties A, B and C. */
void addParties(Tags& tags, const HandoverResult& result);

} // namespace pdasim
