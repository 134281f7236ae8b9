#include "Outcome.h"

#include "Failure.h"
#include "FieldTable.h"
#include "LibraryFiles.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <iostream>

namespace pdactl {

namespace {

constexpr const char* Agreed = "000000";
constexpr const char* NoData = "000060";
constexpr const char* SeeDoctor = " Run 'pdactl doctor' to find out why.";

std::string verdictOf(const Outcome& outcome, const char* name) {
    const auto found = std::find_if(outcome.fields.begin(), outcome.fields.end(), [&](const Field& field) {
        return name != nullptr && field.name == name;
    });
    return found != outcome.fields.end() ? found->value : std::string();
}

/** A teller call's results as those of any other. */
int usualResult(int result, const std::string& verdict) {
    if (result == 1) {
        return 0;
    }
    return verdict == NoData ? 2 : -1;
}

void fail(Outcome& outcome, ExitCode exitCode, const std::string& message) {
    outcome.exitCode = exitCode;
    outcome.message = message;
}

} // namespace

void judge(Outcome& outcome, Results results, const char* verdictName) {
    const std::string verdict = verdictOf(outcome, verdictName);
    switch (results == Results::Teller ? usualResult(outcome.result, verdict) : outcome.result) {
    case 0:
        if (verdictName != nullptr && verdict != Agreed) {
            fail(outcome, TerminalRefused,
                 verdict.empty()
                     ? "The terminal replied without a verdict. See its reply with 'pdactl log --full " +
                           logDirectory() + "'."
                     : "The terminal refused with " + verdict + "; its manual explains the code.");
        }
        break;
    case -1:
        fail(outcome, NotSent, std::string("The message could not be written to the terminal.") + SeeDoctor);
        break;
    case 2:
        fail(outcome, NoReply, std::string("The terminal gave no usable reply.") + SeeDoctor);
        break;
    case 5:
        fail(outcome, BadUsage,
             "The file is too short: the protocol sends files of 5 bytes and more. Fill it up.");
        break;
    case 6:
        fail(outcome, TransferRefused,
             "The terminal refused packets three times in a row. See its replies with 'pdactl log " +
                 logDirectory() + "'.");
        break;
    default:
        fail(outcome, InternalFailure,
             "The library failed. See the end of its log with 'pdactl log " + logDirectory() + "'.");
    }
}

void print(const Outcome& outcome, bool asJson) {
    if (asJson) {
        QJsonObject object{{"result", outcome.result}, {"exitCode", outcome.exitCode}};
        if (!outcome.message.empty()) {
            object.insert("message", QString::fromStdString(outcome.message));
        }
        QJsonObject values;
        for (const Field& field : outcome.fields) {
            const QString text = QString::fromStdString(field.value);
            values.insert(QString::fromStdString(field.name),
                          field.isNumber ? QJsonValue(text.toInt()) : QJsonValue(text));
        }
        object.insert("response", values);
        std::cout << QJsonDocument(object).toJson().constData();
    } else if (std::any_of(outcome.fields.begin(), outcome.fields.end(),
                           [](const Field& field) { return !field.value.empty(); })) {
        printTable(outcome.fields);
    }
    std::cout.flush();
    if (!outcome.message.empty()) {
        std::cerr << "pdactl: " << outcome.message << std::endl;
    }
}

void requireOutput() {
    if (!std::cout.flush()) {
        throw Failure(LocalFailure, "Standard output cannot be written. Look whether its disk is full, and "
                                    "give it another place.");
    }
}

} // namespace pdactl
