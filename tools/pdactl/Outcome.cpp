#include "Outcome.h"

#include "Host.h"
#include "Text.h"

#include <QJsonDocument>
#include <QStringList>

#include <algorithm>
#include <iostream>
#include <optional>

namespace pdactl {

namespace {

constexpr char kAccepted[] = "000000";
constexpr char kNoData[] = "000060";
constexpr const char* kSeeDoctor = " Run 'pdactl doctor' to find out why.";

/// The terminal's result code; nothing for a call that has none.
std::optional<QString> resultCodeOf(const Outcome& outcome) {
    for (const Field& field : outcome.fields) {
        if (field.name == QLatin1String("pRetCode") || field.name == QLatin1String("retCode")) {
            return field.value.toString();
        }
    }
    return std::nullopt;
}

/// A teller call's results as those of any other.
int usualResult(int result, const std::optional<QString>& resultCode) {
    if (result == 1) {
        return 0;
    }
    return resultCode == QLatin1String(kNoData) ? 2 : -1;
}

void fail(Outcome& outcome, ExitCode exitCode, const std::string& message) {
    outcome.exitCode = exitCode;
    outcome.message = message;
}

QString shown(const QJsonValue& value) {
    const QString text = value.isDouble() ? QString::number(value.toInt()) : value.toString();
    return QString::fromStdString(printable(text.toStdString()));
}

/// In columns two blanks apart.
void printColumns(const std::vector<QStringList>& columns) {
    std::vector<int> widths;
    int rows = 0;
    for (const QStringList& column : columns) {
        int width = 0;
        for (const QString& cell : column) {
            width = std::max(width, cell.size());
        }
        widths.push_back(width);
        rows = std::max(rows, column.size());
    }
    for (int row = 0; row < rows; ++row) {
        QString line;
        for (std::size_t i = 0; i < columns.size(); ++i) {
            line += columns[i].value(row).leftJustified(widths[i] + 2);
        }
        while (line.endsWith(' ')) {
            line.chop(1);
        }
        std::cout << line.toStdString() << '\n';
    }
}

} // namespace

void judge(Outcome& outcome, const Transaction& transaction) {
    const std::optional<QString> resultCode = resultCodeOf(outcome);
    const bool isTeller = transaction.results == Results::Teller;
    switch (isTeller ? usualResult(outcome.result, resultCode) : outcome.result) {
    case 0:
        if (resultCode && *resultCode != QLatin1String(kAccepted)) {
            fail(outcome, TerminalRefused,
                 resultCode->isEmpty()
                     ? "The terminal replied without a result code. See its reply with 'pdactl log --full " +
                           logDirectory() + "'."
                     : "The terminal refused with " + resultCode->toStdString() +
                           "; its manual explains the code.");
        }
        break;
    case -1:
        fail(outcome, NotSent, std::string("The message could not be written to the terminal.") + kSeeDoctor);
        break;
    case 2:
        fail(outcome, NoReply, std::string("The terminal gave no usable reply.") + kSeeDoctor);
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

QJsonObject jsonOf(const std::vector<Field>& fields) {
    QJsonObject object;
    for (const Field& field : fields) {
        object.insert(field.name, field.value);
    }
    return object;
}

void printTable(const std::vector<Field>& fields) {
    std::vector<QStringList> singles(2); // names and values
    std::vector<QStringList> lists;
    for (const Field& field : fields) {
        const QString value = shown(field.value);
        if (value.endsWith(';')) {
            lists.push_back(QStringList(field.name) + value.chopped(1).split(';'));
        } else {
            singles[0].push_back(field.name);
            singles[1].push_back(value);
        }
    }
    printColumns(singles);
    if (!singles[0].isEmpty() && !lists.empty()) {
        std::cout << '\n';
    }
    printColumns(lists);
}

QJsonObject documentOf(const Outcome& outcome) {
    QJsonObject object{
        {"result", outcome.result}, {"exitCode", outcome.exitCode}, {"response", jsonOf(outcome.fields)}};
    if (!outcome.message.empty()) {
        object.insert("message", QString::fromStdString(outcome.message));
    }
    return object;
}

QByteArray lineOf(const QJsonObject& document) {
    return QJsonDocument(document).toJson(QJsonDocument::Compact) + '\n';
}

QJsonObject documentOf(int exitCode, const std::string& message) {
    return {{"exitCode", exitCode}, {"message", QString::fromStdString(message)}};
}

void print(const Outcome& outcome, bool asJson) {
    if (asJson) {
        std::cout << QJsonDocument(documentOf(outcome)).toJson().constData();
    } else if (std::any_of(outcome.fields.begin(), outcome.fields.end(),
                           [](const Field& field) { return field.value != QString(); })) {
        printTable(outcome.fields);
    }
    std::cout.flush();
    if (!outcome.message.empty()) {
        complain(outcome.message);
    }
}

void complain(const std::string& message) {
    std::cerr << "pdactl: " << message << std::endl;
}

void requireOutput() {
    if (!std::cout.flush()) {
        throw Failure(LocalFailure, "Standard output cannot be written. Look whether its disk is full, and "
                                    "give it another place.");
    }
}

} // namespace pdactl
