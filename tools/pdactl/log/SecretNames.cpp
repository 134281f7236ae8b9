#include "log/SecretNames.h"

#include <algorithm>
#include <string>
#include <unordered_map>

namespace pdactl::log {

namespace {

std::string lower(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return result;
}

} // namespace

const std::vector<std::string_view>& secretNames() {
    static const std::vector<std::string_view> names{
        // keys between host and terminal, and their check values
        "Ex_Key",
        "Ex_CheckVal",
        "Ex_EncKey",
        "Ex_MacKey",
        "Ex_EncChkVal",
        "Ex_MacChkVal", //
        "pKey",
        "CheckVal",
        "pCheckVal",
        "pEncKey",
        "pMacKey",
        "pEncChkVal",
        "pMacChkVal",
        // users
        "Ex_Pwd",
        "Ex_APwd",
        "Ex_BPwd",
        "Ex_CPwd", //
        "pPwd",
        "pUserPwd",
        "pAPwd",
        "pBPwd",
        "pCPwd",
        "Ex_FigData",
        "Ex_AFigData",
        "Ex_BFigData",
        "Ex_CFigData", //
        "pFigData",
        "pAFigData",
        "pBFigData",
        "pCFigData",
        "Ex_Rnd",
        "Ex_ARnd",
        "Ex_BRnd",
        "Ex_CRnd", //
        "pRnd",
        "pARnd",
        "pBRnd",
        "pCRnd",
        "Ex_AMacChkVal",
        "Ex_BMacChkVal",
        "Ex_CMacChkVal", //
        "pAMacChkVal",
        "pBMacChkVal",
        "pCMacChkVal",
        // files
        "Ex_HexVal",
        "pFilePath",
        // locks
        "Ex_OTCCode",
        "Ex_LockRnd",
        "Ex_PublicKey",
        "Ex_FactorCDK",
        "Ex_InitCDKKFV",
        "Ex_InitCDKKEV",
        "Ex_InitCDKKCV", //
        "Ex_NewCDKKFV",
        "Ex_NewCDKKEV",
        "Ex_NewCDKKCV", //
        "Ex_CurrentCDKKFV",
        "Ex_CurrentCDKKEV",
        "Ex_CurrentCDKKCV", //
        "Ex_NormalUnLockKFV",
        "Ex_NormalUnLockKEV",
        "Ex_NormalUnLockKCV", //
        "Ex_UrgentUnLockKFV",
        "Ex_UrgentUnLockKEV",
        "Ex_UrgentUnLockKCV",
    };
    return names;
}

std::string_view secretName(std::string_view name) {
    static const std::unordered_map<std::string, std::string_view> byLowerCase = [] {
        std::unordered_map<std::string, std::string_view> result;
        for (const std::string_view secret : secretNames()) {
            result.emplace(lower(secret), secret);
        }
        return result;
    }();
    static const std::size_t longest =
        std::max_element(secretNames().begin(), secretNames().end(), [](auto left, auto right) {
            return left.size() < right.size();
        })->size();
    if (name.size() > longest) {
        return {};
    }
    const auto found = byLowerCase.find(lower(name));
    return found != byLowerCase.end() ? found->second : std::string_view();
}

} // namespace pdactl::log
