#include "analysis/ResultStores.h"

#include "analysis/Exchange.h"
#include "analysis/TransactionTable.h"

#include <algorithm>

// What the process remembers of replies.

namespace pdalink {

void keepScanRun(const Call& /*call*/, const Reply& reply) {
    // A refused command empties the store too.
    std::fill(std::begin(pda_ScanLabel), std::end(pda_ScanLabel), QString());
    pda_ScanState = reply.isSuccess();
}

void keepScanState(const Call& /*call*/, const Reply& reply) {
    pda_ScanState = reply.field("Ex_ScanState") == QLatin1String("1");
}

void keepDotState(const Call& /*call*/, const Reply& reply) {
    pda_HandoverDotState = reply.field("Ex_State") != QLatin1String("0");
}

void keepPowerState(const Call& /*call*/, const Reply& reply) {
    pda_HandoverPowerState = reply.field("Ex_State") != QLatin1String("0");
}

} // namespace pdalink
