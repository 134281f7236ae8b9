#include "analysis/Exchange.h"
#include "analysis/Transactions.h"

namespace {

const Transaction kInit{
    "8002",
    "[Init] begin",
    "600001",
    {"Ex_PdaSn", "Ex_Factory"},
    {"Ex_EIMI", "Ex_Vender", "Ex_RetCode"},
    Waits::Twice,
};

const Transaction kGetInfo{
    "8001",      "[GetInfo] begin",    "600002",     {}, {"Ex_EIMI", "Ex_BleVer", "Ex_PdaVer", "Ex_RetCode"},
    Waits::Once, NoData::IntoLastText, "Xml1 Type:",
};

} // namespace

int transactions::init(const Inputs& inputs, const Outputs& outputs) {
    return exchange(kInit, inputs, outputs);
}

int transactions::getInfo(const Inputs& inputs, const Outputs& outputs) {
    return exchange(kGetInfo, inputs, outputs);
}
