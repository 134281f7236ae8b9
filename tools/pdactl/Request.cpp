#include "Request.h"

#include "Message.h"
#include "file/TransferWatch.h"

#include <QJsonDocument>

#include <optional>
#include <utility>

namespace pdactl {

namespace {

// Twice what the library returns at most, escapes included.
constexpr std::size_t kResponseRoom = std::size_t{256} * 1024;

QJsonObject objectOf(const std::string& json) {
    return QJsonDocument::fromJson(QByteArray::fromStdString(json)).object();
}

/// Carries out one JSON request, by the exported member, whose result the C entry keeps to itself.
int call(CPDAXMLAnalysis& library, const std::string& json, std::string& response) {
    const Room room = reserve(kResponseRoom);
    int length = 0;
    const int result =
        library.PDA_CommonCall(json.c_str(), static_cast<int>(json.size()), room.get(), &length);
    response.assign(room.get(), static_cast<std::size_t>(length));
    return result;
}

/// What a request has come to.
Outcome outcomeOf(const Transaction& transaction, int result, const QJsonObject& response) {
    Outcome outcome;
    outcome.result = result;
    if (response.isEmpty()) {
        outcome.exitCode = RequestRefused;
        outcome.message = "The library refused the request. The line \"info msg\" at the end of " +
                          logDirectory() + "/PDA.log says why.";
        return outcome;
    }
    for (const char* output : transaction.outputs) {
        const QJsonValue value = response.value(QLatin1String(output));
        outcome.fields.push_back({output, value.isDouble() ? value : QJsonValue(value.toString())});
    }
    judge(outcome, transaction);
    return outcome;
}

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
        {"SyncLoginResult", callOf(&CPDAXMLAnalysis::SyncLoginResult)},
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

/// Calls a member for which there is no request.
Outcome callDirectly(const Host& host, const Transaction& transaction, Values values) {
    std::vector<Room> outputs;
    Texts texts;
    for (const Parameter& parameter : transaction.parameters) {
        texts.push_back(values.at(parameter.name).data());
    }
    for (std::size_t i = 0; i < transaction.outputs.size(); ++i) {
        texts.push_back(outputs.emplace_back(reserve()).get());
    }
    Outcome outcome;
    host.call(transaction.name(), [&](CPDAXMLAnalysis& library) {
        outcome.result = findCall(transaction.member)(library, texts);
    });
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        outcome.fields.push_back({transaction.outputs[i], QString(outputs[i].get())});
    }
    judge(outcome, transaction);
    return outcome;
}

} // namespace

std::string makeRequest(const Transaction& transaction, const Values& values) {
    QJsonObject request{{"transCode", QString::fromStdString(transaction.code)}};
    for (const Parameter& parameter : transaction.parameters) {
        const QString value = QString::fromStdString(values.at(parameter.name));
        request.insert(parameter.name, parameter.isInteger() ? QJsonValue(value.toInt()) : QJsonValue(value));
    }
    return QJsonDocument(request).toJson(QJsonDocument::Compact).toStdString();
}

Outcome ask(const Host& host, const Transaction& transaction, const std::string& json,
            std::string& response) {
    Outcome outcome;
    host.call(transaction.name(), [&](CPDAXMLAnalysis& library) {
        std::optional<TransferWatch> watch;
        if (transaction.results == Results::Send || transaction.results == Results::Fetch) {
            watch.emplace(transaction, packetsOf(objectOf(json).value("pFilePath").toString().toStdString()));
        }
        const int result = call(library, json, response);
        outcome = outcomeOf(transaction, result, objectOf(response));
        if (watch) {
            watch->finish();
            const QString text = outcome.fields.empty() ? QString() : outcome.fields.front().value.toString();
            watch->judge(outcome, static_cast<std::size_t>(text.size()));
        }
    });
    return outcome;
}

Outcome carryOut(const Host& host, const Transaction& transaction, const Values& values) {
    std::string response;
    return transaction.code.empty() ? callDirectly(host, transaction, values)
                                    : ask(host, transaction, makeRequest(transaction, values), response);
}

int carryOut(const Transaction& transaction, const Values& given, Naming nameOf, const Settings& settings) {
    const Values values = complete(transaction, given, nameOf);
    const Host host(settings);
    if (!isToBeSent(messageOf(transaction, values), settings)) {
        return Success;
    }
    const Outcome outcome = carryOut(host, transaction, values);
    print(outcome, settings.asJson);
    return outcome.exitCode;
}

} // namespace pdactl
