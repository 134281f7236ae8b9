#include "HandlerTable.h"

#include <algorithm>
#include <stdexcept>

namespace {

std::vector<const char*> handoverTags(const char* second) {
    return {"Ex_PdaSn", second,        "Ex_Time", "Ex_LabelNum", "Ex_ErrLabel",   "Ex_ALogin",
            "Ex_AName", "Ex_AFigData", "Ex_ARnd", "Ex_APwd",     "Ex_AMacChkVal", "Ex_BLogin",
            "Ex_BName", "Ex_BFigData", "Ex_BRnd", "Ex_BPwd",     "Ex_BMacChkVal", "Ex_CLogin",
            "Ex_CName", "Ex_CFigData", "Ex_CRnd", "Ex_CPwd",     "Ex_CMacChkVal"};
}

} // namespace

const std::vector<Handler>& allHandlers() {
    static const std::vector<Handler> table{
        {"ReceiveScanResult",
         &CPDAXMLAnalysis::ReceiveScanResult,
         "9001",
         [] { return pdasim::scannedLabel("B01"); },
         pda_ScanLabel,
         2000,
         {"Ex_PdaSn", "Ex_Label"},
         "[ReceiveScanResult] begin",
         false,
         "9001",
         "<Ex_SrcSeqNo>-</Ex_SrcSeqNo><Ex_PdaSn>-</Ex_PdaSn><Ex_RetCode>000000</Ex_RetCode>"
         "<Ex_ScanState>1</Ex_ScanState>",
         nullptr,
         false},
        {"ReceiveRandomNumber",
         &CPDAXMLAnalysis::ReceiveRandomNumber,
         "9003",
         [] { return pdasim::userNotice("ann"); },
         pda_RandomNumber,
         2,
         {"Ex_PdaSn", "Ex_UserNm"},
         "[ReceiveRandomNumber] begin",
         true,
         "9001",
         "<Ex_SrcSeqNo>-</Ex_SrcSeqNo><Ex_RetCode>000000</Ex_RetCode><Ex_PdaSn>-</Ex_PdaSn>",
         nullptr,
         false},
        {"ReceiveLoginData",
         &CPDAXMLAnalysis::ReceiveLoginData,
         "9002",
         [] { return pdasim::loginRecord({}); },
         pda_LoginData,
         8,
         {"Ex_PdaSn", "Ex_Login", "Ex_Name", "Ex_FigData", "Ex_Rnd", "Ex_Pwd", "Ex_MacChkVal"},
         "[ReceiveLoginData] begin",
         true,
         nullptr,
         nullptr,
         nullptr,
         false},
        {"ReceiveInventoryData",
         &CPDAXMLAnalysis::ReceiveInventoryData,
         "9004",
         [] { return pdasim::inventoryRecord({}); },
         pda_GetInventoryRet,
         10,
         {"Ex_PdaSn", "Ex_Total", "Ex_Label", "Ex_ErrLabel", "Ex_Login", "Ex_Name", "Ex_FigData", "Ex_Rnd",
          "Ex_Pwd", "Ex_MacChkVal"},
         nullptr,
         false,
         "9004",
         "<Ex_SrcSeqNo>-</Ex_SrcSeqNo><Ex_RetCode>000000</Ex_RetCode>",
         nullptr,
         true},
        {"ReceiveHandoverDotData", &CPDAXMLAnalysis::ReceiveHandoverDotData, "9005",
         [] { return pdasim::dotHandoverRecord("", {}); }, pda_HandoverDotData, 24, handoverTags("Ex_Road"),
         "[ReceiveHandoverDotData] begin", false, "9005",
         "<Ex_SrcSeqNo>-</Ex_SrcSeqNo><Ex_RetCode>000000</Ex_RetCode>", &pda_HandoverDotState, true},
        {"ReceiveHandoverPowerData", &CPDAXMLAnalysis::ReceiveHandoverPowerData, "9006",
         [] { return pdasim::powerHandoverRecord("", {}); }, pda_HandoverPowerData, 24,
         handoverTags("Ex_BatchNb"), "[ReceiveHandoverPowerData] begin", false, "9006",
         "<Ex_SrcSeqNo>-</Ex_SrcSeqNo><Ex_PdaSn>-</Ex_PdaSn><Ex_RetCode>000000</Ex_RetCode>",
         &pda_HandoverPowerState, true},
    };
    return table;
}

const Handler& handlerOf(const std::string& member) {
    const auto found = std::find_if(allHandlers().begin(), allHandlers().end(),
                                    [&](const Handler& each) { return each.member == member; });
    if (found == allHandlers().end()) {
        throw std::invalid_argument(member);
    }
    return *found;
}
