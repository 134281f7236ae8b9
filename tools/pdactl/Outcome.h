#pragma once

#include "Failure.h"
#include "Transactions.h"

#include <QJsonObject>

#include <string>
#include <vector>

namespace pdactl {

/// What the command line says about the way in which a command is carried out.
struct Settings {
    bool asJson = false;
    bool verbose = false;
    bool isDryRun = false;
};

/// One value that the terminal returned, a number or a text, under its name in JSON.
struct Field {
    QString name;
    QJsonValue value;
};

QJsonObject jsonOf(const std::vector<Field>& fields);

/// What came of one call.
struct Outcome {
    int result = 0;
    ExitCode exitCode = Success;
    std::string message; ///< for people; empty after success
    std::vector<Field> fields;
};

/// Fills in exit code and message from the result and from the terminal's result code.
void judge(Outcome& outcome, const Transaction& transaction);

/// Prints the fields on standard output: single values one in each line, then the lists, whose values are
/// each followed by ";", as the columns of one table.
void printTable(const std::vector<Field>& fields);

/// The outcome as one JSON document.
QJsonObject documentOf(const Outcome& outcome);

/// A document in a line of its own.
QByteArray lineOf(const QJsonObject& document);

/// The document of a run or a request that came to nothing else.
QJsonObject documentOf(int exitCode, const std::string& message);

/// Prints the outcome on standard output: one JSON document, or a table. The message goes to standard error.
void print(const Outcome& outcome, bool asJson);

/// Tells people something on standard error.
void complain(const std::string& message);

/// Throws a Failure unless what was printed on standard output has arrived.
void requireOutput();

} // namespace pdactl
