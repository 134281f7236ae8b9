#include "analysis/Exchange.h"
#include "analysis/Transactions.h"

namespace {

const Transaction kKeyInit{
    "8012", "[KeyInit] begin", "600012", {"Ex_PdaSn", "Ex_Key", "Ex_CheckVal"}, {"Ex_RetCode"},
};

const Transaction kGetKeyVerificationValue{
    "8013", "[GetKeyVerificationValue] begin", "600013", {"Ex_PdaSn"}, {"Ex_CheckVal", "Ex_RetCode"},
};

const Transaction kUpdateWorkKey{
    "8014",         "[UpdateWorkKey] begin",
    "600014",       {"Ex_PdaSn", "Ex_EncKey", "Ex_MacKey", "Ex_EncChkVal", "Ex_MacChkVal"},
    {"Ex_RetCode"},
};

} // namespace

int transactions::keyInit(const Inputs& inputs, const Outputs& outputs) {
    return exchange(kKeyInit, inputs, outputs);
}

int transactions::getKeyVerificationValue(const Inputs& inputs, const Outputs& outputs) {
    return exchange(kGetKeyVerificationValue, inputs, outputs);
}

int transactions::updateWorkKey(const Inputs& inputs, const Outputs& outputs) {
    return exchange(kUpdateWorkKey, inputs, outputs);
}
