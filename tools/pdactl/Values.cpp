#include "Values.h"

#include "Failure.h"
#include "Text.h"

#include <QFile>
#include <QRegularExpression>
#include <QString>

#include <cctype>
#include <iostream>
#include <iterator>
#include <sstream>

namespace pdactl {

namespace {

void removeLineEnd(std::string& text) {
    for (const char end : {'\n', '\r'}) {
        if (!text.empty() && text.back() == end) {
            text.pop_back();
        }
    }
}

std::string readStandardInput() {
    static bool isTaken = false;
    if (isTaken) {
        throw Failure(BadUsage, "Standard input can give one value only: put the others into files and "
                                "give @FILE for them.");
    }
    isTaken = true;
    std::ostringstream content;
    content << std::cin.rdbuf();
    return content.str();
}

/// How many values a list has. The library leaves out those that are empty or not followed by ";".
int completeList(const std::string& option, std::string& list) {
    if (!list.empty() && list.back() != ';') {
        list += ';';
    }
    const QStringList items = split(list);
    if (std::any_of(items.begin(), items.end(),
                    [](const QString& item) { return item.trimmed().isEmpty(); })) {
        throw Failure(BadUsage, option + " has an empty value, whose place the next one would take. Give "
                                         "each lock a value.");
    }
    return items.size();
}

/// One value for each lock; or none, unless it is needed.
void requireList(const std::string& option, std::string& list, int locks, bool isNeeded) {
    const int values = completeList(option, list);
    if (values != locks && (isNeeded || values != 0)) {
        throw Failure(BadUsage, option + " has " + std::to_string(values) + " value(s), but --locks names " +
                                    std::to_string(locks) +
                                    ". Give one for each lock, each followed by \";\".");
    }
}

/// The lists of locks that are to open have one value for each. The library goes by the count alone, and
/// takes an empty text for what a list lacks.
void completeOpening(Values& values) {
    const int locks = completeList("--locks", values["lockIds"]);
    if (locks == 0) {
        throw Failure(BadUsage, "--locks names no lock. 'pdactl lock list' shows their ids.");
    }
    const std::string given = std::exchange(values["lockCount"], std::to_string(locks));
    if (!given.empty() && given != values["lockCount"]) {
        throw Failure(BadUsage, "--count says " + given + ", but --locks names " + values["lockCount"] +
                                    ". Leave --count out.");
    }
    if (values["actions"].empty()) {
        values["actions"] = QString("00;").repeated(locks).toStdString();
    }
    requireList("--actions", values["actions"], locks, true);
    requireList("--codes", values["oneTimeCodes"], locks, split(values["actions"]).contains(kOpenWithCode));
    requireList("--users-a", values["usersA"], locks, true);
    requireList("--users-b", values["usersB"], locks, true);
}

std::string toInteger(const std::string& name, const std::string& value) {
    bool isInteger = false;
    const int number = QString::fromStdString(value).toInt(&isInteger);
    if (!isInteger) {
        throw Failure(BadUsage, name + " takes an integer, not \"" + value + "\".");
    }
    return std::to_string(number);
}

/// How many labels a list has, whichever of the two semicolons separates them.
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

/// The library counts what is followed by ";" only.
void requireEndOfList(const std::string& name, const std::string& list) {
    if (!list.empty() && list.back() != ';') {
        throw Failure(BadUsage, name + " ends without \";\", so its last value would not be counted. Put "
                                       "\";\" after each value.");
    }
}

Values withPresets(const Transaction& transaction, Values values, Naming nameOf) {
    std::string missing;
    for (const Parameter& parameter : transaction.parameters) {
        if (values.count(parameter.name) == 0 && parameter.preset == nullptr) {
            missing += (missing.empty() ? "" : ", ") + nameOf(parameter);
        } else {
            values.emplace(parameter.name, parameter.preset != nullptr ? parameter.preset : "");
        }
    }
    if (!missing.empty()) {
        throw Failure(BadUsage, transaction.name() + " also needs " + missing + ". Give each as NAME=VALUE.");
    }
    return values;
}

/// Checks and completes a value that was given.
void check(const Parameter& parameter, const std::string& name, std::string& value) {
    const bool isBlank = value.find_first_not_of(" \t\r\n") == std::string::npos;
    if (!parameter.mayBeEmpty() && isBlank) {
        throw Failure(BadUsage, name + " is empty. Give its value; nothing was sent.");
    }
    if (parameter.isInteger()) {
        value = toInteger(name, value);
    } else if (parameter.kind == Kind::Items) {
        requireEndOfList(name, value);
    } else if (parameter.kind == Kind::Answer) {
        requireAnswer(value);
    }
}

} // namespace

bool opensLocks(const Transaction& transaction) {
    return transaction.member == "ReqOpenLock";
}

QStringList split(const std::string& list) {
    QStringList items = QString::fromStdString(list).split(';');
    if (items.last().isEmpty()) {
        items.removeLast(); // nothing is after the last ";"
    }
    return items;
}

std::string asMember(const Parameter& parameter) {
    return parameter.name;
}

std::string asOption(const Parameter& parameter) {
    const bool isPositional = std::isupper(static_cast<unsigned char>(*parameter.option)) != 0;
    return (isPositional ? "" : "--") + std::string(parameter.option);
}

const Parameter& requireParameter(const Transaction& transaction, const std::string& name) {
    std::string known;
    for (const Parameter& parameter : transaction.parameters) {
        if (name == parameter.name) {
            return parameter;
        }
        known += (known.empty() ? "" : ", ") + std::string(parameter.name);
    }
    throw Failure(BadUsage, transaction.name() + " takes no " + name +
                                ", but: " + (known.empty() ? "nothing" : known) + ".");
}

std::string readArgument(const std::string& name, const std::string& text, bool isSecret) {
    const bool isElsewhere = text == "-" || startsWith(text, "@");
    if (isSecret && !isElsewhere) {
        throw Failure(BadUsage, name +
                                    " is secret and must not be given on the command line, where every user "
                                    "of this machine sees it. Put it into a file and give @FILE, or send it "
                                    "to standard input and give -");
    }
    std::string value = isElsewhere ? readWhole(text == "-" ? text : text.substr(1)) : text;
    if (isElsewhere) {
        removeLineEnd(value);
    }
    requireSendable(name, value);
    return value;
}

std::string readWhole(const std::string& path) {
    if (path == "-") {
        return readStandardInput();
    }
    QFile file(QString::fromStdString(path));
    if (!file.open(QIODevice::ReadOnly)) {
        throw Failure(LocalFailure, "Cannot read " + path + ": " + file.errorString().toStdString() +
                                        ". Give a file that you may read.");
    }
    return file.readAll().toStdString();
}

void requireSendable(const std::string& name, const std::string& value) {
    const QByteArray bytes = QByteArray::fromStdString(value);
    if (bytes.contains('\0') || QString::fromUtf8(bytes).toUtf8() != bytes) {
        throw Failure(BadUsage, name +
                                    " holds bytes that are not UTF-8 text. Write them as the text that the "
                                    "terminal expects, hexadecimal digits for example.");
    }
    if (value.find_first_of("<>") != std::string::npos) {
        throw Failure(BadUsage, name + R"( holds "<" or ">", which have a meaning in the protocol. Give it )"
                                       "without them.");
    }
}

std::optional<std::string> textOf(const Parameter& parameter, const QJsonValue& value) {
    const bool isInteger = value.toInt(0) == value.toInt(1); // what is none gives the number named
    if (parameter.isInteger() ? !isInteger : !value.isString()) {
        return {};
    }
    std::string text = parameter.isInteger() ? std::to_string(value.toInt()) : value.toString().toStdString();
    requireSendable(parameter.name, text);
    return text;
}

void requireAnswer(const std::string& code) {
    if (!QRegularExpression(QStringLiteral("^[0-9]{6}\\z")).match(QString::fromStdString(code)).hasMatch()) {
        throw Failure(BadUsage,
                      "\"" + code +
                          "\" is not an answer to a login: give six digits, 000000 to let the user in.");
    }
}

Values complete(const Transaction& transaction, const Values& given, Naming nameOf) {
    Values values = withPresets(transaction, given, nameOf);
    const std::vector<Parameter>& parameters = transaction.parameters;
    for (const Parameter& parameter : parameters) {
        if (given.count(parameter.name) != 0) {
            check(parameter, nameOf(parameter), values[parameter.name]);
        }
    }
    for (auto total = parameters.begin(); total != parameters.end(); ++total) {
        if (total->kind == Kind::Total) {
            requireTotal(*total, *std::next(total), values, nameOf);
        }
    }
    if (opensLocks(transaction)) {
        completeOpening(values);
    }
    return values;
}

} // namespace pdactl
