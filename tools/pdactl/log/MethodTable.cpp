#include "log/MethodTable.h"

#include <algorithm>

namespace pdactl::log {

namespace {

template <typename Test>
const Method* find(Test test) {
    const std::vector<Method>& methods = allMethods();
    const auto found = std::find_if(methods.begin(), methods.end(), test);
    return found != methods.end() ? &*found : nullptr;
}

} // namespace

const std::vector<Method>& allMethods() {
    static const std::vector<Method> methods{
        {"Init", "600001", "8002"},
        {"GetInfo", "600002", "8001"},
        {"WriteBagNumber", "600003", "8003"},
        {"StartScan", "600004", "8004"},
        {"GetScanLabelList", "600005", "8005"},
        {"DownInvenData", "600006", "8006"},
        {"GetInventoryRet", "600007", "8007"},
        {"SyncHandoverDotData", "600008", "8008"},
        {"GetHandoverDotRet", "600009", "8009"},
        {"SyncHandoverPowerData", "600010", "8010"},
        {"GetHandoverPowerRet", "600011", "8011"},
        {"KeyInit", "600012", "8012"},
        {"GetKeyVerificationValue", "600013", "8013"},
        {"UpdateWorkKey", "600014", "8014"},
        {"ReadFileDataToPDA", "600015", "8015"},
        {"ReceiveDataSaveToFile", "600016", "8016"},
        {"PDA_GetRegisterUserData", "600017", "8017", Ending::Next, true},
        {"PDA_SendUserAuthenticationResult", "600018", "8018", Ending::Next, true},
        {"PDA_EscortUserInfoSync", "600019", "8019", Ending::Next, true},
        {"SyncHandoverDotData1", "", "", Ending::Begin},
        {"SetBleMac", "", "7001", Ending::Reply},
        {"GetLockList", "", "7011", Ending::Reply},
        {"GetPublicKey", "", "7012", Ending::Reply},
        {"InitCDKKEV_CDKKCV", "", "7013", Ending::Reply},
        {"GetCDKKEV_CDKKCV", "", "7014", Ending::Reply},
        {"updateCDKKEV", "", "7015", Ending::Reply},
        {"GetLockInfo", "", "7016", Ending::Reply},
        {"ReqOpenLock", "", "7018", Ending::Reply},
        {"ReadLockRes", "", "7019", Ending::Reply},
        {"GetRandomNumber", "", "", Ending::Begin},
        {"GetLoginData", "", "", Ending::LastLine},
        {"SyncLoginResult", "", "9002", Ending::Written},
        {"ReceiveScanResult", "", "9001", Ending::Written, false, true},
        {"ReceiveRandomNumber", "", "9001", Ending::Written, false, true},
        {"ReceiveLoginData", "", "", Ending::Begin, false, true},
        {"ReceiveInventoryData", "", "9004", Ending::Written, false, true},
        {"ReceiveHandoverDotData", "", "9005", Ending::Written, false, true},
        {"ReceiveHandoverPowerData", "", "9006", Ending::Written, false, true},
    };
    return methods;
}

const Method* methodOfName(std::string_view name) {
    return find([&](const Method& method) { return method.name == name; });
}

const Method* methodOfCode(std::string_view code) {
    return code.empty() ? nullptr : find([&](const Method& method) { return method.code == code; });
}

const Method* methodOfType(std::string_view type) {
    const auto isIt = [&](const Method& method) { return method.type == type; };
    const bool isUnique = !type.empty() && std::count_if(allMethods().begin(), allMethods().end(), isIt) == 1;
    return isUnique ? find(isIt) : nullptr;
}

bool isTerminalType(std::string_view type) {
    return type.size() == 4 && type >= "9001" && type <= "9006";
}

} // namespace pdactl::log
