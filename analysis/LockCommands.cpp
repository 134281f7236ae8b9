#include "analysis/Exchange.h"
#include "analysis/Lists.h"
#include "analysis/MessageEnvelope.h"
#include "analysis/Transactions.h"
#include "util/Util.h"

#include <stdexcept>

// What the terminal relays to locks. Without a reply these write nothing.

namespace {

Transaction lockCommand(const char* type, const char* begin, std::vector<BodyTag> bodyTags,
                        std::vector<const char*> replyTags) {
    return {type, begin, nullptr, std::move(bodyTags), std::move(replyTags), Waits::Once, NoData::Nothing};
}

const Transaction kSetBleMac{
    "7001", "[SetBleMac] begin", "SetBleMac", {"Ex_BleMac"}, {"Ex_RetCode"}, Waits::Once, NoData::Nothing,
};

const Transaction kGetLockList =
    lockCommand("7011", "[GetLockList] begin", {}, {"Ex_SrcSeqNo", "Ex_RetCode", "Ex_LockNum"});

const Transaction kGetPublicKey =
    lockCommand("7012", "[GetPublicKey] begin", {"Ex_LockId"},
                {"Ex_SrcSeqNo", "Ex_RetCode", "Ex_LockId", "Ex_PublicKey", "Ex_FactorCDK"});

const Transaction kInitCdkk = lockCommand("7013", "[InitCDKKEV_CDKKCV] begin",
                                          {"Ex_LockId", "Ex_InitCDKKFV", "Ex_InitCDKKEV", "Ex_InitCDKKCV"},
                                          {"Ex_SrcSeqNo", "Ex_RetCode", "Ex_LockId"});

// Asks for FV and CV, whatever the member is called.
const Transaction kGetCdkk =
    lockCommand("7014", "[GetCDKKEV_CDKKCV] begin", {"Ex_LockId"},
                {"Ex_SrcSeqNo", "Ex_RetCode", "Ex_LockId", "Ex_CurrentCDKKFV", "Ex_CurrentCDKKCV"});

const Transaction kUpdateCdkk =
    lockCommand("7015", "[updateCDKKEV] begin",
                {"Ex_LockId", "Ex_NewCDKKFV", "Ex_NewCDKKEV", "Ex_NewCDKKCV",      //
                 "Ex_NormalUnLockKFV", "Ex_NormalUnLockKEV", "Ex_NormalUnLockKCV", //
                 "Ex_UrgentUnLockKFV", "Ex_UrgentUnLockKEV", "Ex_UrgentUnLockKCV", //
                 "Ex_LockParams", "Ex_LockLabel"},
                {"Ex_SrcSeqNo", "Ex_RetCode", "Ex_LockId", "Ex_LockRnd"});

const Transaction kGetLockInfo =
    lockCommand("7016", "[GetLockInfo] begin", {"Ex_LockId"},
                {"Ex_SrcSeqNo", "Ex_RetCode", "Ex_LockId", "Ex_LockVer", "Ex_HSCVer", "Ex_LockParam",
                 "Ex_LockBoot", "Ex_LockAppCrc", "Ex_LockStatus", "Ex_LockRnd"});

/// Its groups of tags, one for each lock, are added for the call.
const Transaction kReqOpenLock =
    lockCommand("7018", "[ReqOpenLock] begin", {"Ex_LockNum"}, {"Ex_SrcSeqNo", "Ex_RetCode"});

const Transaction kReadLockRes =
    lockCommand("7019", "[ReadLockRes] begin", {}, {"Ex_SrcSeqNo", "Ex_RetCode", "Ex_LockNum"});

const std::vector<const char*> kLockListEntry{"Ex_LockId", "Ex_LockLabel", "Ex_LockStatus", "Ex_LockRssi"};

const std::vector<const char*> kLockResEntry{"Ex_LockId", "Ex_Action",  "Ex_Result",   "Ex_UserA",
                                             "Ex_UserB",  "Ex_LockRnd", "Ex_OpenTime", "Ex_Bat"};

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

/// An exchange whose reply lists locks: behind the single outputs each tag of an entry has a list output.
int exchangeList(const Transaction& transaction, const std::vector<const char*>& entryTags,
                 const Outputs& outputs) {
    return exchange(transaction, {}, outputs, [&](const Reply& reply) {
        copyFields(transaction, reply, outputs);
        std::vector<QByteArray> lists(entryTags.size());
        for (const Reply& entry : entriesOf(reply)) {
            for (std::size_t i = 0; i < entryTags.size(); ++i) {
                lists[i] += entry.field(entryTags[i]).toUtf8() + ';';
            }
        }
        for (std::size_t i = 0; i < lists.size(); ++i) {
            outputs.texts[static_cast<int>(transaction.replyTags.size() + i)].append(lists[i]);
        }
    });
}

/// The lists of a request to open locks, cut into their values.
struct LockOperations {
    explicit LockOperations(const Inputs& inputs)
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

/// The value at `index`; empty behind the list's end.
QString valueAt(const std::vector<QString>& values, std::size_t index) {
    return index < values.size() ? values[index] : QString();
}

/// What one lock is to do. Only the action "00" takes a one-time code.
QString operation(const LockOperations& operations, std::size_t index) {
    const QString action = valueAt(operations.actions, index);
    const bool takesCode = action == QLatin1String("00");
    return taggedText("Ex_LockId", valueAt(operations.ids, index)) + taggedText("Ex_Action", action) +
           taggedText("Ex_OTCCode", takesCode ? valueAt(operations.oneTimeCodes, index) : QString()) +
           taggedText("Ex_UserA", valueAt(operations.usersA, index)) +
           taggedText("Ex_UserB", valueAt(operations.usersB, index));
}

/// What each lock is to do, for as many locks as the host says. Throws std::length_error when that is more
/// than a message holds.
std::vector<QByteArray> operationsOf(const Inputs& inputs) {
    const QByteArray countText = inputs[0].bytes();
    const int count = leadingInteger(countText);
    const LockOperations operations(inputs);
    const qint64 longest = MessageEnvelope::longestBody();
    qint64 length = taggedText("Ex_LockNum", QString::fromUtf8(countText)).size();
    std::vector<QByteArray> groups;
    for (int i = 0; i < count; ++i) {
        const QString group = operation(operations, static_cast<std::size_t>(i));
        length += taggedText("LockList", group).size();
        if (length > longest) {
            throw std::length_error("lock operations");
        }
        groups.push_back(group.toUtf8());
    }
    return groups;
}

} // namespace

int transactions::setBleMac(const Inputs& inputs, const Outputs& outputs) {
    return exchange(kSetBleMac, inputs, outputs);
}

int transactions::getLockList(const Outputs& outputs) {
    return exchangeList(kGetLockList, kLockListEntry, outputs);
}

int transactions::getLockInfo(const Inputs& inputs, const Outputs& outputs) {
    return exchange(kGetLockInfo, inputs, outputs);
}

int transactions::getPublicKey(const Inputs& inputs, const Outputs& outputs) {
    return exchange(kGetPublicKey, inputs, outputs);
}

int transactions::initCdkk(const Inputs& inputs, const Outputs& outputs) {
    return exchange(kInitCdkk, inputs, outputs);
}

int transactions::getCdkk(const Inputs& inputs, const Outputs& outputs) {
    return exchange(kGetCdkk, inputs, outputs);
}

int transactions::updateCdkk(const Inputs& inputs, const Outputs& outputs) {
    return exchange(kUpdateCdkk, inputs, outputs);
}

int transactions::reqOpenLock(const Inputs& inputs, const Outputs& outputs) {
    return guardedTask([&] {
        logMessage(kReqOpenLock.begin);
        const std::vector<QByteArray> groups = operationsOf(inputs);
        Transaction request = kReqOpenLock;
        request.begin = nullptr;
        Inputs body{inputs[0]};
        for (const QByteArray& group : groups) {
            request.bodyTags.emplace_back("LockList");
            body.append(Input(group.constData()));
        }
        return exchange(request, body, outputs);
    });
}

int transactions::readLockRes(const Outputs& outputs) {
    return exchangeList(kReadLockRes, kLockResEntry, outputs);
}
