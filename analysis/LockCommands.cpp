#include "analysis/Exchange.h"
#include "analysis/Lists.h"
#include "analysis/MessageEnvelope.h"
#include "analysis/TransactionTable.h"
#include "util/Util.h"

#include <stdexcept>
#include <vector>

namespace pdalink {

namespace {

/// The entries of a reply's list of locks.
std::vector<Reply> entriesOf(const Reply& reply) {
    constexpr int openingTag =
        10; // characters of "<LockList>", and of the length and type that begin the reply
    std::vector<QString> pieces;
    CUtil::plitStr(QString::fromUtf8(reply.bytes()), QStringLiteral("</LockList>"), pieces);
    std::vector<Reply> entries;
    entries.reserve(pieces.size());
    for (const QString& piece : pieces) {
        entries.emplace_back(piece.mid(openingTag));
    }
    return entries;
}

/// The lists of a request to open locks, cut into their values.
struct LockOperations {
    explicit LockOperations(const Input* inputs)
        : ids(splitItems(inputs[1].bytes())),
          actions(splitItems(inputs[2].bytes())),
          oneTimeCodes(splitItems(inputs[3].bytes())),
          usersA(splitItems(inputs[4].bytes())),
          usersB(splitItems(inputs[5].bytes())) {}

    std::vector<QString> ids;
    std::vector<QString> actions;
    std::vector<QString> oneTimeCodes;
    std::vector<QString> usersA;
    std::vector<QString> usersB;
};

/// The value at `index`; empty beyond the list's end.
QString valueAt(const std::vector<QString>& values, std::size_t index) {
    return index < values.size() ? values[index] : QString();
}

/// What one lock is to do. Only the action "00" takes a one-time code.
QString operation(const LockOperations& operations, std::size_t index) {
    const QString action = valueAt(operations.actions, index);
    const bool takesCode = action == QLatin1String("00");
    return taggedText(
        "LockList",
        taggedText("Ex_LockId", valueAt(operations.ids, index)) + taggedText("Ex_Action", action) +
            taggedText("Ex_OTCCode", takesCode ? valueAt(operations.oneTimeCodes, index) : QString()) +
            taggedText("Ex_UserA", valueAt(operations.usersA, index)) +
            taggedText("Ex_UserB", valueAt(operations.usersB, index)));
}

/// What each lock is to do, for as many locks as the host says. Throws std::length_error when that is more
/// than a message holds.
QString operationsOf(const Input* inputs) {
    const QByteArray countText = inputs[0].bytes();
    const int count = leadingInteger(countText);
    const LockOperations operations(inputs);
    const qint64 longest =
        MessageEnvelope::longestBody() - taggedText("Ex_LockNum", QString::fromUtf8(countText)).size();
    QString all;
    for (int i = 0; i < count; ++i) {
        all += operation(operations, static_cast<std::size_t>(i));
        if (all.size() > longest) {
            throw std::length_error("lock operations");
        }
    }
    return all;
}

} // namespace

int requestOpening(const Call& call) {
    // Put together first: a message that would be too long takes no sequence number.
    const QString operations = operationsOf(call.inputs);
    return exchange(call, operations);
}

void appendLockLists(const Call& call, const Reply& reply) {
    const List<ReplyField, 23>& fields = call.row.outputs;
    std::vector<QByteArray> lists(fields.size());
    for (const Reply& entry : entriesOf(reply)) {
        for (std::size_t i = 0; i < fields.size(); ++i) {
            if (fields[i].copy == Copy::ListedLocks) {
                lists[i] += entry.field(fields[i].tag).toUtf8() + ';';
            }
        }
    }
    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (fields[i].copy == Copy::ListedLocks) {
            call.outputs[i].append(lists[i]);
        }
    }
}

} // namespace pdalink
