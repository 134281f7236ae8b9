#include "Request.h"

#include "Failure.h"
#include "LibraryFiles.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace pdactl {

namespace {

QJsonValue toJson(const Parameter& parameter, const std::string& value) {
    const QString text = QString::fromStdString(value);
    if (!parameter.isNumber) {
        return text;
    }
    bool isNumber = false;
    const int number = text.toInt(&isNumber);
    if (!isNumber) {
        throw Failure(BadUsage,
                      std::string(parameter.name) + " takes a whole number, not \"" + value + "\".");
    }
    return number;
}

} // namespace

std::string makeRequest(const Code& code, const Values& values) {
    QJsonObject request{{"transCode", code.number}};
    std::string missing;
    for (const Parameter& parameter : code.parameters) {
        const auto value = values.find(parameter.name);
        if (value != values.end()) {
            request.insert(parameter.name, toJson(parameter, value->second));
        } else if (parameter.preset != nullptr) {
            request.insert(parameter.name, parameter.preset);
        } else {
            missing += (missing.empty() ? "" : ", ") + std::string(parameter.name);
        }
    }
    if (!missing.empty()) {
        throw Failure(BadUsage,
                      std::string(code.number) + " also needs " + missing + ". Give each as NAME=VALUE.");
    }
    return QJsonDocument(request).toJson(QJsonDocument::Compact).toStdString();
}

std::string refusalMessage() {
    return "The library refused the request. The line \"info msg\" at the end of " + logDirectory() +
           "/PDA.log says why.";
}

Outcome readAnswer(const Code& code, const Answer& answer) {
    Outcome outcome;
    outcome.result = answer.result;
    const QJsonObject response = QJsonDocument::fromJson(QByteArray::fromStdString(answer.response)).object();
    if (response.isEmpty()) {
        outcome.exitCode = RequestRefused;
        outcome.message = refusalMessage();
        return outcome;
    }
    for (const char* output : code.outputs) {
        const QJsonValue value = response.value(QLatin1String(output));
        outcome.fields.push_back(
            {output, value.isDouble() ? std::to_string(value.toInt()) : value.toString().toStdString(),
             value.isDouble()});
    }
    judge(outcome, code.results, code.verdict);
    return outcome;
}

int carryOut(const Code& code, const Values& values, bool asJson, bool verbose) {
    const std::string request = makeRequest(code, values);
    const Outcome outcome = readAnswer(code, Host(verbose).request(request));
    print(outcome, asJson);
    return outcome.exitCode;
}

} // namespace pdactl
