#pragma once

#include "core/Message.h"

#include <string>
#include <vector>

namespace pdasim {

// The rules that a single kind of message has to keep beyond its tags.

void checkSentPacket(const ParsedMessage& message, std::vector<std::string>& violations);
/** Ex_Total counts the items of the list behind it. */
void checkItemCount(const ParsedMessage& message, std::vector<std::string>& violations);
void checkLockOpening(const ParsedMessage& message, std::vector<std::string>& violations);
/** A host acknowledges nothing but success. */
void checkSuccess(const ParsedMessage& message, std::vector<std::string>& violations);

} // namespace pdasim
