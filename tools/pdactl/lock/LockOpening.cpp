#include "Failure.h"
#include "lock/Locks.h"

#include <QStringList>

#include <algorithm>
#include <utility>

namespace pdactl {

namespace {

constexpr const char* kOpenWithCode = "00";

QStringList split(const std::string& list) {
    QStringList items = QString::fromStdString(list).split(';');
    if (items.last().isEmpty()) {
        items.removeLast(); // nothing is after the last ";"
    }
    return items;
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

} // namespace

bool opensLocks(const Transaction& transaction) {
    return transaction.member == "ReqOpenLock";
}

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

void addOperations(Message& message, const Values& values) {
    const QStringList locks = split(values.at("lockIds"));
    const QStringList actions = split(values.at("actions"));
    const QStringList codes = split(values.at("oneTimeCodes"));
    const QStringList usersA = split(values.at("usersA"));
    const QStringList usersB = split(values.at("usersB"));
    message.add("Ex_LockNum", values.at("lockCount"));
    for (int i = 0; i < locks.size(); ++i) {
        message.open("LockList");
        message.add("Ex_LockId", locks[i].toStdString());
        message.add("Ex_Action", actions[i].toStdString());
        message.add("Ex_OTCCode", actions[i] == kOpenWithCode ? codes[i].toStdString() : "");
        message.add("Ex_UserA", usersA[i].toStdString());
        message.add("Ex_UserB", usersB[i].toStdString());
        message.close("LockList");
    }
}

} // namespace pdactl
