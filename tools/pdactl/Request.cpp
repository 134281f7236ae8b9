#include "Request.h"

#include "Argument.h"
#include "Failure.h"
#include "LibraryFiles.h"
#include "TransferWatch.h"
#include "WireMessage.h"

#include <pdalink/analysis/PDAXMLAnalysis.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <iterator>

namespace pdactl {

namespace {

std::string toInteger(const std::string& name, const std::string& value) {
    bool isInteger = false;
    const int number = QString::fromStdString(value).toInt(&isInteger);
    if (!isInteger) {
        throw Failure(BadUsage, name + " takes an integer, not \"" + value + "\".");
    }
    return std::to_string(number);
}

/** How many labels a list has, whichever of the two semicolons separates them. */
int countLabels(const std::string& list) {
    const QRegularExpression semicolon(QStringLiteral("[;\uFF1B]"));
    return QString::fromStdString(list).split(semicolon, Qt::SkipEmptyParts).size();
}

void requireTotal(const Parameter& total, const Parameter& list, const Values& values, Naming nameOf) {
    const std::string count = std::to_string(countLabels(values.at(list.name)));
    if (values.at(total.name) != count) {
        throw Failure(BadUsage, nameOf(total) + " says " + values.at(total.name) + ", but " + nameOf(list) +
                                    " has " + count + " label(s). Correct one of them.");
    }
}

/** The values, presets included. */
Values withPresets(const Code& code, const Values& given, Naming nameOf) {
    Values values = given;
    std::string missing;
    for (const Parameter& parameter : code.parameters) {
        if (values.count(parameter.name) != 0) {
            continue;
        }
        if (parameter.preset != nullptr) {
            values[parameter.name] = parameter.preset;
        } else {
            missing += (missing.empty() ? "" : ", ") + nameOf(parameter);
        }
    }
    if (!missing.empty()) {
        throw Failure(BadUsage,
                      std::string(code.number) + " also needs " + missing + ". Give each as NAME=VALUE.");
    }
    return values;
}

std::size_t charactersOf(const Field& field) {
    return static_cast<std::size_t>(QString::fromStdString(field.value).size());
}

/** What a code's answer means. */
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

/** A success of the library's can be a file that is not whole. */
Outcome transfer(const Host& host, const Code& code, const std::string& json, Answer& answer) {
    const QJsonObject values = QJsonDocument::fromJson(QByteArray::fromStdString(json)).object();
    const int packets = packetsOf(values.value("pFilePath").toString().toStdString());
    Outcome outcome;
    host.call([&] {
        CPDAXMLAnalysis library;
        TransferWatch watch(code, packets);
        answer = request(library, json);
        watch.finish();
        outcome = readAnswer(code, answer);
        watch.judge(outcome, outcome.fields.empty() ? 0 : charactersOf(outcome.fields.front()));
    });
    return outcome;
}

} // namespace

std::string asMember(const Parameter& parameter) {
    return parameter.name;
}

std::string asOption(const Parameter& parameter) {
    return std::string("--") + parameter.option;
}

Values complete(const Code& code, const Values& given, Naming nameOf) {
    Values values = withPresets(code, given, nameOf);
    for (const Parameter& parameter : code.parameters) {
        std::string& value = values[parameter.name];
        if (!parameter.mayBeEmpty()) {
            requireNotEmpty(nameOf(parameter), value);
        } else if (parameter.isInteger()) {
            value = toInteger(nameOf(parameter), value);
        }
    }
    for (auto total = code.parameters.begin(); total != code.parameters.end(); ++total) {
        if (total->kind == Kind::Total) {
            requireTotal(*total, *std::next(total), values, nameOf);
        }
    }
    return values;
}

std::string makeRequest(const Code& code, const Values& values) {
    QJsonObject request{{"transCode", code.number}};
    for (const Parameter& parameter : code.parameters) {
        const QString value = QString::fromStdString(values.at(parameter.name));
        request.insert(parameter.name, parameter.isInteger() ? QJsonValue(value.toInt()) : QJsonValue(value));
    }
    return QJsonDocument(request).toJson(QJsonDocument::Compact).toStdString();
}

std::string refusalMessage() {
    return "The library refused the request. The line \"info msg\" at the end of " + logDirectory() +
           "/PDA.log says why.";
}

Outcome ask(const Host& host, const Code& code, const std::string& json, Answer& answer) {
    if (code.results == Results::Send || code.results == Results::Fetch) {
        return transfer(host, code, json, answer);
    }
    answer = host.request(json);
    return readAnswer(code, answer);
}

int carryOut(const Code& code, const Values& given, Naming nameOf, const Settings& settings) {
    const Values values = complete(code, given, nameOf);
    const Host host(settings.verbose);
    if (!isToBeSent(messageOf(code, values), settings)) {
        return Success;
    }
    Answer answer;
    const Outcome outcome = ask(host, code, makeRequest(code, values), answer);
    print(outcome, settings.asJson);
    return outcome.exitCode;
}

} // namespace pdactl
