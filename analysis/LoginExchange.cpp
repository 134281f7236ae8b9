#include "analysis/Exchange.h"
#include "analysis/Transactions.h"

#include <algorithm>

namespace {

const Transaction kSyncLoginResult{
    "9002", nullptr, "SyncLoginResult", {"Ex_PdaSn", "Ex_RetCode"}, {},
};

/// Copies the first slots of a store, one for each output.
void copySlots(const QString* slots, const Outputs& outputs) {
    for (const TextOut& output : outputs.texts) {
        output.copyCharacters(*slots++);
    }
}

} // namespace

int transactions::getRandomNumber(const Outputs& outputs) {
    return guarded(
        [&] {
            logMessage("[GetRandomNumber] begin");
            copySlots(pda_RandomNumber, outputs);
            return kReplied;
        },
        [] { return kReplied; });
}

int transactions::getLoginData(const Outputs& outputs) {
    return guarded(
        [&] {
            logMessage("[GetLoginData] begin");
            openChannel(); // so that the login of a host's first user can arrive
            copySlots(pda_LoginData, outputs);
            std::fill(std::begin(pda_LoginData), std::end(pda_LoginData), QString());
            logMessage("user login info");
            return kReplied;
        },
        [] { return kReplied; });
}

int transactions::syncLoginResult(const Inputs& inputs) {
    return guardedTask([&] { return sendOnly(kSyncLoginResult, inputs); });
}
