#include "serve/LineRequest.h"

#include "Message.h"
#include "Request.h"
#include "file/FileTransfer.h"

#include <QJsonDocument>

#include <cmath>
#include <exception>

namespace pdactl {

namespace {

constexpr const char* kFile = "file";

QJsonObject parsed(const QByteArray& line) {
    if (line.isNull()) {
        throw Failure(BadUsage, "The line is too long. Give a file's path instead of its digits.");
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(line, &error);
    if (error.error != QJsonParseError::NoError) {
        throw Failure(BadUsage, "The line is not JSON: " + error.errorString().toStdString() +
                                    " after byte " + std::to_string(error.offset) + ".");
    }
    if (!document.isObject()) {
        throw Failure(BadUsage, "The line is not a JSON object.");
    }
    return document.object();
}

/// What the answer has to repeat as it is.
QJsonValue idOf(const QJsonObject& request) {
    constexpr double kMaxExact = 9007199254740991; // greater integers are rounded on their way
    QJsonValue id = request.value("id");
    if (std::abs(id.toDouble()) > kMaxExact) {
        throw Failure(BadUsage, "id is a number that would come back rounded. Give it as a string.");
    }
    return id;
}

/// What the line asks for.
const Transaction& transactionOf(const QJsonObject& request) {
    const std::string code = request.value("transCode").toString().toStdString();
    const std::string member = request.value("call").toString().toStdString();
    if (code.empty() == member.empty()) {
        throw Failure(BadUsage,
                      "The line needs \"transCode\", a text, for a request, or \"call\" for a member "
                      "of the library that has no code; one of them.");
    }
    const Transaction* const found = code.empty() ? findMember(member) : findCode(code);
    if (found == nullptr || (code.empty() && (!found->code.empty() || found->command.empty()))) {
        throw Failure(BadUsage, code.empty()
                                    ? "There is no call of that name; 'pdactl serve --help' lists them."
                                    : "There is no such code; they are 600001 to 600019.");
    }
    return *found;
}

bool isParameter(const QString& name) {
    return name != "id" && name != "transCode" && name != "call" && name != kFile;
}

Values valuesOf(const Transaction& transaction, const QJsonObject& request) {
    Values values;
    for (auto member = request.begin(); member != request.end(); ++member) {
        if (isParameter(member.key())) {
            const Parameter& parameter = requireParameter(transaction, member.key().toStdString());
            const std::optional<std::string> text = textOf(parameter, member.value());
            if (!text) {
                throw Failure(BadUsage, std::string(parameter.name) + " must be " +
                                            (parameter.isInteger() ? "an integer." : "a string."));
            }
            values[parameter.name] = *text;
        }
    }
    return values;
}

/// The file of a transfer by path; empty for any other request.
std::string pathIn(const Transaction& transaction, const QJsonObject& request) {
    if (!request.contains(kFile)) {
        return {};
    }
    if (transaction.results != Results::Send && transaction.results != Results::Fetch) {
        throw Failure(BadUsage, "Only 600015 and 600016 take a file.");
    }
    std::string path = request.value(kFile).toString().toStdString();
    if (path.empty()) {
        throw Failure(BadUsage, "file must be a path.");
    }
    return path;
}

Outcome transfer(const Host& host, const Transaction& code, const std::string& path, const Values& given,
                 const Settings& settings) {
    FileOptions options;
    options.file = path;
    options.pda = given.count("pdaNumber") != 0 ? given.at("pdaNumber") : options.pda;
    options.command = given.count("pCmdEx") != 0 ? std::stoi(given.at("pCmdEx")) : options.command;
    const bool isSent = code.results == Results::Send;
    const char* const info = isSent ? "pInfoEx" : "pInfEx";
    options.info = given.count(info) != 0 ? given.at(info) : options.info;
    return *(isSent ? sendFile : fetchFile)(host, options, settings);
}

Outcome outcomeOf(const Host& host, const QJsonObject& request, const Settings& settings) {
    const Transaction& transaction = transactionOf(request);
    const std::string path = pathIn(transaction, request);
    const Values given = valuesOf(transaction, request);
    if (!path.empty()) {
        return transfer(host, transaction, path, given, settings);
    }
    const Values values = complete(transaction, given, asMember);
    (void)isToBeSent(messageOf(transaction, values), settings);
    return carryOut(host, transaction, values);
}

} // namespace

QJsonObject withId(QJsonObject answer, const QJsonValue& id) {
    if (!id.isUndefined()) { // null where the line could not be read
        answer.insert("id", id);
    }
    return answer;
}

QJsonObject answerTo(const Host& host, const QByteArray& line, const Settings& settings, QJsonValue& id) {
    QJsonObject answer;
    id = QJsonValue();
    try {
        const QJsonObject request = parsed(line);
        id = idOf(request);
        answer = documentOf(outcomeOf(host, request, settings));
    } catch (const Failure& reason) {
        answer = documentOf(reason.exitCode(), reason.what());
    } catch (const std::exception& reason) {
        answer = documentOf(LocalFailure, reason.what());
    }
    return withId(answer, id);
}

} // namespace pdactl
