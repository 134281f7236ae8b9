#include "Request.h"

#include "Message.h"
#include "file/TransferWatch.h"
#include "lock/Locks.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace pdactl {

namespace {

std::size_t charactersOf(const Field& field) {
    return static_cast<std::size_t>(QString::fromStdString(field.value).size());
}

/// What the answer to a request means.
Outcome readAnswer(const Transaction& transaction, const Answer& answer) {
    Outcome outcome;
    outcome.result = answer.result;
    const QJsonObject response = QJsonDocument::fromJson(QByteArray::fromStdString(answer.response)).object();
    if (response.isEmpty()) {
        outcome.exitCode = RequestRefused;
        outcome.message = refusalMessage();
        return outcome;
    }
    for (const char* output : transaction.outputs) {
        const QJsonValue value = response.value(QLatin1String(output));
        outcome.fields.push_back(
            {output, value.isDouble() ? std::to_string(value.toInt()) : value.toString().toStdString(),
             value.isDouble()});
    }
    judge(outcome, transaction);
    return outcome;
}

/// A success of the library's can be a file that is not whole.
Outcome transfer(const Host& host, const Transaction& transaction, const std::string& json, Answer& answer) {
    const QJsonObject values = QJsonDocument::fromJson(QByteArray::fromStdString(json)).object();
    const int packets = packetsOf(values.value("pFilePath").toString().toStdString());
    Outcome outcome;
    host.call([&](CPDAXMLAnalysis& library) {
        TransferWatch watch(transaction, packets);
        answer = request(library, json);
        watch.finish();
        outcome = readAnswer(transaction, answer);
        watch.judge(outcome, outcome.fields.empty() ? 0 : charactersOf(outcome.fields.front()));
    });
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

std::string refusalMessage() {
    return "The library refused the request. The line \"info msg\" at the end of " + logDirectory() +
           "/PDA.log says why.";
}

Outcome ask(const Host& host, const Transaction& transaction, const std::string& json, Answer& answer) {
    if (transaction.results == Results::Send || transaction.results == Results::Fetch) {
        return transfer(host, transaction, json, answer);
    }
    answer = host.request(json);
    return readAnswer(transaction, answer);
}

int carryOut(const Transaction& transaction, const Values& given, Naming nameOf, const Settings& settings) {
    const Values values = complete(transaction, given, nameOf);
    const Host host(settings.verbose);
    if (!isToBeSent(messageOf(transaction, values), settings.isDryRun, settings.asJson)) {
        return Success;
    }
    Answer answer;
    const Outcome outcome = transaction.code.empty()
                                ? callLock(host, transaction, values)
                                : ask(host, transaction, makeRequest(transaction, values), answer);
    print(outcome, settings.asJson);
    return outcome.exitCode;
}

} // namespace pdactl
