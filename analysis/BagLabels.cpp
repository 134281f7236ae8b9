#include "analysis/Exchange.h"
#include "analysis/Lists.h"
#include "analysis/Transactions.h"

#include <algorithm>

namespace {

const Transaction kWriteBagNumber{
    "8003",
    "[WriteBagNumber] begin",
    "600003",
    {"Ex_Label", "Ex_OrgNm", "Ex_BagType"},
    {"Ex_Tid", "Ex_RetCode"},
    Waits::Twice,
};

const Transaction kStartScan{
    "8004", "[StartScan] begin", "600004", {"Ex_PdaSn", "Ex_Cmd"}, {"Ex_RetCode"},
};

const Transaction kGetScanLabelList{
    "8005",          "[GetScanLabelList] begin",   "600005",
    {"Ex_PdaSn"},    {"Ex_Label", "Ex_ScanState"}, Waits::Once,
    NoData::Nothing,
};

} // namespace

int transactions::writeBagNumber(const Inputs& inputs, const Outputs& outputs) {
    return exchange(kWriteBagNumber, inputs, outputs);
}

int transactions::startScan(const Inputs& inputs, const Outputs& outputs) {
    return exchange(kStartScan, inputs, outputs, [&](const Reply& reply) {
        copyFields(kStartScan, reply, outputs);
        // A refused command empties the store too.
        std::fill(std::begin(pda_ScanLabel), std::end(pda_ScanLabel), QString());
        pda_ScanState = reply.field("Ex_RetCode") == QLatin1String(kSuccess);
    });
}

int transactions::getScanLabelList(const Inputs& inputs, const Outputs& outputs) {
    return exchange(kGetScanLabelList, inputs, outputs, [&](const Reply& reply) {
        const QString labels = reply.field("Ex_Label");
        const QString state = reply.field("Ex_ScanState");
        const LabelCount count = countLabels(labels);
        outputs.texts[0].copyCharacters(labels);
        outputs.texts[1].copy(state.toUtf8());
        outputs.setNumber(0, count.labels);
        outputs.setNumber(1, count.stride);
        pda_ScanState = state == QLatin1String("1");
    });
}
