// Inventory: sends a task, waits until the terminal's user has finished it, fetches the result.
//
//     pdasim run --user -- inventory

#include "Host.h"

using namespace example;

namespace {

void inventory() {
    ask({{"transCode", "600006"},
         {"pdaNumber", kNumber},
         {"pTaskID", "INV-1"},
         {"pTotal", 2},
         {"pLabelList", "BAG-0001;BAG-0002;"}});

    Inbox().await("9004", &CPDAXMLAnalysis::ReceiveInventoryData);
    show("found", pda_GetInventoryRet[2]);
    show("by", pda_GetInventoryRet[5]);

    const QJsonObject result = ask({{"transCode", "600007"}, {"pdaNumber", kNumber}});
    show("the result of", result["pTaskID"].toString());
    show("labels", result["pLabelList"].toString());
    show("labels in error", result["pErrLabel"].toString());
    show("the user's login", result["pLoginType"].toString());
}

} // namespace

int main() {
    return run(inventory);
}
