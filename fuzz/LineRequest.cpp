#include "Fuzz.h"

#include "Message.h"
#include "Request.h"
#include "file/FileTransfer.h"
#include "serve/LineRequest.h"

#include <QJsonDocument>

// The library is left out: what a line asks for ends here.

namespace pdactl {

namespace {

Values g_carriedOut;

void requireComplete(const Transaction& transaction, const Values& values) {
    for (const Parameter& parameter : transaction.parameters) {
        const auto value = values.find(parameter.name);
        fuzz::require(value != values.end(), "every parameter has a value");
        requireSendable(parameter.name, value->second);
        fuzz::require(!parameter.isInteger() || std::to_string(std::stoi(value->second)) == value->second,
                      "an integer is one");
    }
}

} // namespace

Host::Host(const Settings& settings) : m_settings(settings), m_application(m_argumentCount, m_arguments) {
}

std::string logDirectory() {
    return "log";
}

Outcome carryOut(const Host& /*host*/, const Transaction& transaction, const Values& values) {
    requireComplete(transaction, values);
    g_carriedOut = values;
    Outcome outcome;
    outcome.fields.push_back(
        {"request", QString::fromStdString(values.empty() ? "" : values.begin()->second)});
    return outcome;
}

std::optional<Outcome> sendFile(const Host& /*host*/, FileOptions options, const Settings& /*settings*/) {
    const std::string path = std::move(options.file);
    fuzz::require(!path.empty(), "a file has a path");
    return Outcome();
}

std::optional<Outcome> fetchFile(const Host& host, FileOptions options, const Settings& settings) {
    return sendFile(host, std::move(options), settings);
}

} // namespace pdactl

namespace {

/// What a refusal says is missing is not there.
void requireMissing(const QJsonObject& request, const QString& message) {
    const QString names = message.section(" also needs ", 1).section(". Give", 0, 0);
    for (const QString& name : names.split(", ", Qt::SkipEmptyParts)) {
        fuzz::require(!request.contains(name), "only what is missing is asked for");
    }
}

/// What was carried out has the values of the request, but for a list's end.
void requireValues(const QJsonObject& request) {
    for (const auto& [name, value] : pdactl::g_carriedOut) {
        const QJsonValue given = request.value(QString::fromStdString(name));
        const std::string text =
            given.isString() ? given.toString().toStdString() : std::to_string(given.toInt());
        fuzz::require(given.isUndefined() || value == text || value == text + ";",
                      "a parameter has its value");
    }
}

} // namespace

/// Any bytes as a line of `pdactl serve`.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const pdactl::Host host{pdactl::Settings()};
    const std::string line = fuzz::Input(data, size).rest();
    pdactl::g_carriedOut.clear();
    QJsonValue id;
    const QJsonObject answer =
        pdactl::answerTo(host, QByteArray::fromStdString(line), pdactl::Settings(), id);
    const QJsonDocument request = QJsonDocument::fromJson(QByteArray::fromStdString(line));
    requireValues(request.object());
    requireMissing(request.object(), answer.value("message").toString());
    fuzz::require(answer.value("exitCode").isDouble(), "an answer has an exit code");
    fuzz::require(answer.value("exitCode").toInt() != pdactl::LocalFailure,
                  "a line is no failure of the machine's");
    fuzz::require(answer.value("exitCode").toInt() == 0 || !answer.value("message").toString().isEmpty(),
                  "a refusal has a reason");
    if (request.isObject() && request.object().contains("id")) {
        const bool isRefused = answer.value("message").toString().startsWith("id is ");
        fuzz::require(answer.value("id") == (isRefused ? QJsonValue() : request.object().value("id")),
                      "an answer has its request's id");
    }
    return 0;
}
