#include "analysis/Exchange.h"
#include "analysis/Lists.h"
#include "analysis/Transactions.h"

namespace {

const Transaction kDownInvenData{
    "8006",         "[DownInvenData] begin", "600006", {"Ex_PdaSn", "Ex_TaskId", "Ex_Total", "Ex_Label"},
    {"Ex_RetCode"},
};

const Transaction kGetInventoryRet{
    "8007",
    "[GetInventoryRet] begin",
    "600007",
    {"Ex_PdaSn"},
    {"Ex_TaskId", "Ex_Label", "Ex_ErrLabel", "Ex_Offline", "Ex_Login", "Ex_Name", "Ex_FigData", "Ex_Rnd",
     "Ex_Pwd", "Ex_MacChkVal", "Ex_InvenSta"},
    Waits::Once,
    NoData::Nothing,
};

} // namespace

int transactions::downInvenData(const Inputs& inputs, const Outputs& outputs) {
    return exchange(kDownInvenData, inputs, outputs);
}

int transactions::getInventoryRet(const Inputs& inputs, const Outputs& outputs) {
    return exchange(kGetInventoryRet, inputs, outputs, [&](const Reply& reply) {
        outputs.setNumber(0, countLabels(reply.field("Ex_Label")).labels);
        for (std::size_t i = 0; i < kGetInventoryRet.replyTags.size(); ++i) {
            const QString value = reply.field(kGetInventoryRet.replyTags[i]);
            outputs.texts[static_cast<int>(i)].copyCharacters(value);
        }
    });
}
