// Labels: writes one for a bag, and receives those that the terminal's user scans.
//
//     pdasim run --user -- labels

#include "Host.h"

using namespace example;

namespace {

void labels() {
    const QJsonObject written =
        ask({{"transCode", "600003"}, {"pBagNumber", "BAG-0001"}, {"pAttrOrg", "0042"}, {"pBagType", "1"}});
    show("the number of the label that was written", written["pTid"].toString());

    ask({{"transCode", "600004"}, {"pdaNumber", kNumber}, {"pCmdType", "1"}}); // scanning begins
    Inbox inbox;
    for (int i = 0; i < 3; ++i) {
        inbox.await("9001", &CPDAXMLAnalysis::ReceiveScanResult);
        show("scanned", pda_ScanLabel[2 * i + 1]); // pairs of the terminal's number and a label
    }
    const QJsonObject scanned = ask({{"transCode", "600005"}, {"pdaNumber", kNumber}});
    show("all that were scanned", scanned["pLabelList"].toString());
    ask({{"transCode", "600004"}, {"pdaNumber", kNumber}, {"pCmdType", "0"}}); // and ends
}

} // namespace

int main() {
    return run(labels);
}
