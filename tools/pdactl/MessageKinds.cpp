#include "MessageKinds.h"

#include <pdalink/analysis/ResultStores.h>

#include <algorithm>

namespace pdactl {

namespace {

constexpr const char* ScanType = "9001";

std::vector<const char*> handoverFields(const char* second) {
    return {"pdaSn",  second,  "time",     "labelCount", "errLabels",               //
            "aLogin", "aName", "aFigData", "aRnd",       "aPwd",      "aMacChkVal", //
            "bLogin", "bName", "bFigData", "bRnd",       "bPwd",      "bMacChkVal", //
            "cLogin", "cName", "cFigData", "cRnd",       "cPwd",      "cMacChkVal"};
}

const std::vector<MessageKind>& allKinds() {
    static const std::vector<MessageKind> kinds = {
        {ScanType, "scanned label", &CPDAXMLAnalysis::ReceiveScanResult, pda_ScanLabel, {"pdaSn", "label"}},
        {LoginType,
         "login",
         &CPDAXMLAnalysis::ReceiveLoginData,
         pda_LoginData,
         {"pdaSn", "login", "name", "figData", "rnd", "pwd", "macChkVal"},
         false},
        {"9003",
         "user notice",
         &CPDAXMLAnalysis::ReceiveRandomNumber,
         pda_RandomNumber,
         {"pdaSn", "userName"}},
        {"9004",
         "inventory",
         &CPDAXMLAnalysis::ReceiveInventoryData,
         pda_GetInventoryRet,
         {"pdaSn", "total", "labels", "errLabels", "login", "name", "figData", "rnd", "pwd", "macChkVal"}},
        {"9005", "dot handover", &CPDAXMLAnalysis::ReceiveHandoverDotData, pda_HandoverDotData,
         handoverFields("road")},
        {"9006", "power handover", &CPDAXMLAnalysis::ReceiveHandoverPowerData, pda_HandoverPowerData,
         handoverFields("batchNumber")},
    };
    return kinds;
}

} // namespace

const char* const LoginType = "9002";

const MessageKind* findKind(const std::string& type) {
    const std::vector<MessageKind>& kinds = allKinds();
    const auto found =
        std::find_if(kinds.begin(), kinds.end(), [&](const MessageKind& kind) { return type == kind.type; });
    return found != kinds.end() ? &*found : nullptr;
}

std::vector<Field> takeFields(const MessageKind& kind) {
    std::vector<Field> fields;
    QString* slot = kind.store;
    for (const char* name : kind.fields) {
        fields.push_back({name, slot->toStdString()});
        slot->clear(); // so that the next label finds the first pair free again
        ++slot;
    }
    return fields;
}

} // namespace pdactl
