#pragma once

#include "Host.h"
#include "Message.h"
#include "Outcome.h"

namespace pdactl {

/// Whether it asks locks to open, whose lists have one value for each lock.
bool opensLocks(const Transaction& transaction);

/// Counts the locks, and fills in the lists that may be left out. Throws a Failure when the lists do not go
/// together: the library goes by the count alone, and takes an empty text for what a list lacks.
void completeOpening(Values& values);

/// The body of the message that asks locks to open.
void addOperations(Message& message, const Values& values);

/// Calls the member directly.
Outcome callLock(const Host& host, const Transaction& transaction, const Values& values);

} // namespace pdactl
