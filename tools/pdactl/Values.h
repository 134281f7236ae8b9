#pragma once

#include "Transactions.h"

#include <QJsonValue>
#include <QStringList>

#include <optional>
#include <string>

namespace pdactl {

/// How a user calls a parameter.
using Naming = std::string (*)(const Parameter& parameter);
std::string asMember(const Parameter& parameter); ///< "pTotal"
std::string asOption(const Parameter& parameter); ///< "--total", or "CODE" without an option

/// The parameter of this name in JSON. Throws a Failure for a name that it does not have.
const Parameter& requireParameter(const Transaction& transaction, const std::string& name);

/// The value of an argument: "@FILE" stands for a file's content, "-" for standard input's, both without the
/// line end at their end; everything else for itself. A secret must not be given on the command line, where
/// every user of the machine sees it. `name` is for messages. Throws a Failure that says how to do it.
std::string readArgument(const std::string& name, const std::string& text, bool isSecret);

/// A file's content, "-" for standard input. Throws a Failure.
std::string readWhole(const std::string& path);

/// Throws a Failure for a value that cannot be sent as it is: bytes that are not UTF-8 would be replaced, or
/// cut, on their way to the terminal, and values travel between tags as they are.
void requireSendable(const std::string& name, const std::string& value);

/// A value from JSON as text; nothing when it is not of the parameter's type. Throws a Failure for one that
/// cannot be sent.
std::optional<std::string> textOf(const Parameter& parameter, const QJsonValue& value);

/// Whether it asks locks to open, whose lists have one value for each lock.
bool opensLocks(const Transaction& transaction);

/// With this action a lock takes its one-time code.
constexpr const char* kOpenWithCode = "00";

/// The values of a list, each of which is followed by ";".
QStringList split(const std::string& list);

/// Throws a Failure unless these are six digits.
void requireAnswer(const std::string& code);

/// All values, presets included. Throws a Failure that names what is missing, empty, not an integer, or does
/// not go together.
Values complete(const Transaction& transaction, const Values& given, Naming nameOf);

} // namespace pdactl
