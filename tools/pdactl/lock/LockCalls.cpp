#include "lock/Locks.h"

#include <utility>

namespace pdactl {

namespace {

/// The texts of a call, in the order of the member's parameters.
using Texts = std::vector<char*>;
using Call = std::function<int(CPDAXMLAnalysis& library, const Texts& texts)>;

template <typename... Parameters, std::size_t... Indices>
Call spread(int (CPDAXMLAnalysis::*member)(Parameters...), std::index_sequence<Indices...> /*unused*/) {
    return [member](CPDAXMLAnalysis& library, [[maybe_unused]] const Texts& texts) {
        return (library.*member)(texts.at(Indices)...);
    };
}

template <typename... Parameters>
Call callOf(int (CPDAXMLAnalysis::*member)(Parameters...)) {
    return spread(member, std::index_sequence_for<Parameters...>());
}

const Call& findCall(const std::string& member) {
    static const std::map<std::string, Call> calls{
        {"SetBleMac", callOf(&CPDAXMLAnalysis::SetBleMac)},
        {"GetLockList", callOf(&CPDAXMLAnalysis::GetLockList)},
        {"GetLockInfo", callOf(&CPDAXMLAnalysis::GetLockInfo)},
        {"GetPublicKey", callOf(&CPDAXMLAnalysis::GetPublicKey)},
        {"InitCDKKEV_CDKKCV", callOf(&CPDAXMLAnalysis::InitCDKKEV_CDKKCV)},
        {"GetCDKKEV_CDKKCV", callOf(&CPDAXMLAnalysis::GetCDKKEV_CDKKCV)},
        {"updateCDKKEV", callOf(&CPDAXMLAnalysis::updateCDKKEV)},
        {"ReqOpenLock", callOf(&CPDAXMLAnalysis::ReqOpenLock)},
        {"ReadLockRes", callOf(&CPDAXMLAnalysis::ReadLockRes)},
    };
    return calls.at(member);
}

} // namespace

Outcome callLock(const Host& host, const Transaction& transaction, const Values& values) {
    Values inputs = values;
    std::vector<ReservedBuffer> outputs;
    Texts texts;
    for (const Parameter& parameter : transaction.parameters) {
        texts.push_back(inputs.at(parameter.name).data());
    }
    for (std::size_t i = 0; i < transaction.outputs.size(); ++i) {
        texts.push_back(outputs.emplace_back().data());
    }
    Outcome outcome;
    host.call(
        [&](CPDAXMLAnalysis& library) { outcome.result = findCall(transaction.member)(library, texts); });
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        outcome.fields.push_back({transaction.outputs[i], outputs[i].text()});
    }
    judge(outcome, transaction);
    return outcome;
}

} // namespace pdactl
