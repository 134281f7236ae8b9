#include "Outcome.h"

#include "Host.h"
#include "Text.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>

#include <algorithm>
#include <iostream>

namespace pdactl {

namespace {

constexpr const char* kAccepted = "000000";
constexpr const char* kNoData = "000060";
constexpr const char* kSeeDoctor = " Run 'pdactl doctor' to find out why.";

std::string resultCodeOf(const Outcome& outcome, const char* name) {
    const auto found = std::find_if(outcome.fields.begin(), outcome.fields.end(), [&](const Field& field) {
        return name != nullptr && field.name == name;
    });
    return found != outcome.fields.end() ? found->value : std::string();
}

/// A teller call's results as those of any other.
int usualResult(int result, const std::string& resultCode) {
    if (result == 1) {
        return 0;
    }
    return resultCode == kNoData ? 2 : -1;
}

void fail(Outcome& outcome, ExitCode exitCode, const std::string& message) {
    outcome.exitCode = exitCode;
    outcome.message = message;
}

using TableRow = std::vector<QString>;

bool isList(const Field& field) {
    return !field.value.empty() && field.value.back() == ';';
}

QString shown(const std::string& value) {
    return QString::fromStdString(printable(value));
}

TableRow singleValue(const Field& field) {
    return {QString::fromStdString(field.name), shown(field.value)};
}

/// A field's name with its values below.
QStringList column(const Field& list) {
    QStringList cells = shown(list.value).split(';');
    cells.removeLast(); // nothing is after the last ";"
    cells.prepend(QString::fromStdString(list.name));
    return cells;
}

std::vector<TableRow> rowsOf(const std::vector<QStringList>& columns) {
    std::vector<TableRow> rows;
    for (std::size_t c = 0; c < columns.size(); ++c) {
        rows.resize(std::max(rows.size(), static_cast<std::size_t>(columns[c].size())),
                    TableRow(columns.size()));
        for (int r = 0; r < columns[c].size(); ++r) {
            rows[static_cast<std::size_t>(r)][c] = columns[c].at(r);
        }
    }
    return rows;
}

std::vector<int> widthsOf(const std::vector<TableRow>& rows) {
    std::vector<int> widths;
    for (const TableRow& row : rows) {
        widths.resize(row.size());
        for (std::size_t c = 0; c < row.size(); ++c) {
            widths[c] = std::max(widths[c], row[c].size());
        }
    }
    return widths;
}

/// In columns two blanks apart.
void printRows(const std::vector<TableRow>& rows) {
    const std::vector<int> widths = widthsOf(rows);
    for (const TableRow& row : rows) {
        QString line;
        for (std::size_t c = 0; c < row.size(); ++c) {
            line += row[c].leftJustified(widths[c] + 2);
        }
        while (line.endsWith(' ')) {
            line.chop(1);
        }
        std::cout << line.toStdString() << '\n';
    }
}

} // namespace

void judge(Outcome& outcome, const Transaction& transaction) {
    const std::string resultCode = resultCodeOf(outcome, transaction.resultCode);
    const bool isTeller = transaction.results == Results::Teller;
    switch (isTeller ? usualResult(outcome.result, resultCode) : outcome.result) {
    case 0:
        if (transaction.resultCode != nullptr && resultCode != kAccepted) {
            fail(outcome, TerminalRefused,
                 resultCode.empty()
                     ? "The terminal replied without a result code. See its reply with 'pdactl log --full " +
                           logDirectory() + "'."
                     : "The terminal refused with " + resultCode + "; its manual explains the code.");
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

void printTable(const std::vector<Field>& fields) {
    std::vector<TableRow> singles;
    std::vector<QStringList> lists;
    for (const Field& field : fields) {
        if (isList(field)) {
            lists.push_back(column(field));
        } else {
            singles.push_back(singleValue(field));
        }
    }
    printRows(singles);
    if (!singles.empty() && !lists.empty()) {
        std::cout << '\n';
    }
    printRows(rowsOf(lists));
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
