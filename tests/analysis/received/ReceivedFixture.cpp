#include "ReceivedFixture.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

namespace {

std::vector<const char*> handoverTags(const char* second) {
    return {"Ex_PdaSn", second,        "Ex_Time", "Ex_LabelNum", "Ex_ErrLabel",   "Ex_ALogin",
            "Ex_AName", "Ex_AFigData", "Ex_ARnd", "Ex_APwd",     "Ex_AMacChkVal", "Ex_BLogin",
            "Ex_BName", "Ex_BFigData", "Ex_BRnd", "Ex_BPwd",     "Ex_BMacChkVal", "Ex_CLogin",
            "Ex_CName", "Ex_CFigData", "Ex_CRnd", "Ex_CPwd",     "Ex_CMacChkVal"};
}

const std::vector<Handler>& handlers() {
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

} // namespace

std::vector<Handler> allHandlers() {
    return handlers();
}

std::vector<Handler> acknowledgingHandlers() {
    std::vector<Handler> some;
    std::copy_if(handlers().begin(), handlers().end(), std::back_inserter(some),
                 [](const Handler& handler) { return handler.acknowledgementType != nullptr; });
    return some;
}

const Handler& handlerOf(const char* member) {
    const auto found = std::find_if(handlers().begin(), handlers().end(), [member](const Handler& each) {
        return std::string(each.member) == member;
    });
    if (found == handlers().end()) {
        throw std::invalid_argument(member);
    }
    return *found;
}

Fields fieldsOf(const Handler& handler) {
    Fields fields;
    for (const char* name : handler.tags) {
        fields.emplace_back(name, valueOf(name));
    }
    return fields;
}

std::string valueOf(const std::string& tagName) {
    return "value of " + tagName;
}

std::vector<std::string> stored(const Handler& handler) {
    std::vector<std::string> values(handler.storeSize);
    std::transform(handler.store, handler.store + handler.storeSize, values.begin(),
                   [](const QString& value) { return value.toStdString(); });
    return values;
}

std::vector<std::string> storeOf(const Handler& handler, const Fields& fields) {
    std::vector<std::string> values(handler.storeSize);
    for (std::size_t i = 0; i < handler.tags.size(); ++i) {
        const auto field = std::find_if(fields.begin(), fields.end(),
                                        [&](const auto& each) { return each.first == handler.tags[i]; });
        values[i] = field != fields.end() ? field->second : "";
    }
    return values;
}

void fillStore(const Handler& handler, const char* text) {
    std::fill(handler.store, handler.store + handler.storeSize, QString::fromUtf8(text));
}

std::string ReceivedTest::messageOf(const Handler& handler, const Fields& fields) {
    std::string tags = tag("Ex_TrTime", "20260102030405") + tag("Ex_SeqNo", "4711");
    for (const auto& [name, value] : fields) {
        tags += tag(name, value);
    }
    return message(handler.type, tags);
}

int ReceivedTest::hand(const Handler& handler, std::string text) {
    return (analyser().*handler.receive)(text.data());
}
