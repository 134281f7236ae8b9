#include "core/MessageTable.h"

#include "core/Terminal.h"
#include "core/messages/Answers.h"

#include <algorithm>

namespace pdasim {

namespace {

/// A message that only responds to one of the terminal's.
MessageRow response(std::string_view type, std::string_view name, Announced respondsTo,
                    std::vector<RequestTag> tags) {
    MessageRow row = {type, name, std::move(tags)};
    row.respondsTo = respondsTo;
    if (respondsTo != Announced::LoginRecord) {
        row.check = checkSuccess;
    }
    return row;
}

MessageRow inBytes(MessageRow row) {
    row.lengthUnit = LengthUnit::Bytes;
    return row;
}

MessageRow withGroups(MessageRow row, std::vector<RequestTag> tags) {
    row.groupTags = std::move(tags);
    return row;
}

/// A file, packet or lock that goes by this is there for the asking.
constexpr const char* kSampleValue = "0";

std::vector<const MessageRow*> rowsOf(std::string_view type) {
    if (type != Terminal::AnyType) {
        return findMessageRows(type);
    }
    std::vector<const MessageRow*> all;
    for (const MessageRow& row : messageRows()) {
        all.push_back(&row);
    }
    return all;
}

Tags sampleOf(const std::vector<RequestTag>& wanted) {
    Tags tags;
    for (const RequestTag& tag : wanted) {
        tags.push_back({std::string(tag.name), kSampleValue});
    }
    return tags;
}

/// What the terminal answers when it has what it is asked for, so that no tag is missing.
Tags sampleReply(const MessageRow& row) {
    TerminalState state;
    state.locks.emplace_back().id = kSampleValue;
    state.files.offered.emplace(0, kSampleValue);
    const Request request = {{std::string(row.type), kSampleValue, sampleOf(row.tags), {}}, {}};
    Tags tags = frontOfReply(request);
    const Reply reply = row.answer(request, state);
    tags.insert(tags.end(), reply.tags.begin(), reply.tags.end());
    return tags;
}

void addOnce(std::vector<std::string>& names, const Tags& tags) {
    for (const Tag& tag : tags) {
        if (std::find(names.begin(), names.end(), tag.name) == names.end()) {
            names.push_back(tag.name);
        }
    }
}

} // namespace

// clang-format off
const std::vector<MessageRow>& messageRows() {
    static const std::vector<MessageRow> rows = {
        {"8001", "terminal information", {}, answerInformation},
        {"8002", "initialisation", {"Ex_PdaSn", "Ex_Factory"}, answerInitialisation},

        {"8003", "label writing", {"Ex_Label", "Ex_OrgNm", "Ex_BagType"}, answerLabelWriting},
        {"8004", "scan command", {"Ex_PdaSn", "Ex_Cmd"}, answerScanCommand},
        {"8005", "scan list", {"Ex_PdaSn"}, answerScanList},

        {"8006", "inventory task", {"Ex_PdaSn", "Ex_TaskId", number("Ex_Total"), "Ex_Label"}, answerInventoryTask},
        {"8007", "inventory result", {"Ex_PdaSn"}, answerInventoryResult},

        inBytes({"8008", "dot handover task",
                 {"Ex_PdaSn", "Ex_TaskId", number("Ex_TaskType"), "Ex_Road", "Ex_ExcgTime", "Ex_OrgNum", "Ex_OrgNm",
                  number("Ex_Total"), "Ex_Label", "Ex_UserA", "Ex_UserB"},
                 answerDotTask}),
        {"8009", "dot handover result", {"Ex_PdaSn", "Ex_TaskId"}, answerDotResult},
        {"8010", "power handover task",
         {"Ex_PdaSn", "Ex_OrgNb", "Ex_Time", "Ex_OrgNm", "Ex_BatchNb", "Ex_TaskId", number("Ex_Total"), "Ex_Label"},
         answerPowerTask},
        {"8011", "power handover result", {"Ex_PdaSn", "Ex_TaskId"}, answerPowerResult},

        {"8012", "key installation", {"Ex_PdaSn", "Ex_Key", "Ex_CheckVal"}, answerKeyInstallation},
        {"8013", "key check value", {"Ex_PdaSn"}, answerKeyCheckValue},
        {"8014", "work keys", {"Ex_PdaSn", "Ex_EncKey", "Ex_MacKey", "Ex_EncChkVal", "Ex_MacChkVal"}, answerWorkKeys},

        {"8015", "file packet sent",
         {"Ex_PdaSn", number("Ex_CmdEx"), "Ex_InfoEx", number("Ex_TotalPkt"), number("Ex_CurPkt"), "Ex_HexVal",
          "Ex_HexCheck"},
         answerSentPacket, checkSentPacket},
        {"8016", "file packet requested", {"Ex_PdaSn", number("Ex_CmdEx"), "Ex_InfEx", number("Ex_CurPkt")},
         answerPacketRequest},

        {"8017", "registered teller", {"Ex_PdaSn"}, answerRegisteredTeller},
        {"8018", "authentication result", {"Ex_PdaSn", number("Ex_Total"), "Ex_AuthRet"}, answerAuthentication,
         checkItemCount},
        {"8019", "escort list", {"Ex_PdaSn", number("Ex_Total"), "Ex_TellerNo"}, answerEscorts, checkItemCount},

        {"7001", "Bluetooth address", {"Ex_BleMac"}, answerBleMac},
        {"7011", "lock list", {}, answerLockList},
        {"7012", "lock public key", {"Ex_LockId"}, answerPublicKey},
        {"7013", "initial lock key", {"Ex_LockId", "Ex_InitCDKKFV", "Ex_InitCDKKEV", "Ex_InitCDKKCV"},
         answerInitialLockKey},
        {"7014", "current lock key", {"Ex_LockId"}, answerCurrentLockKey},
        {"7015", "new lock keys",
         {"Ex_LockId", "Ex_NewCDKKFV", "Ex_NewCDKKEV", "Ex_NewCDKKCV", "Ex_NormalUnLockKFV", "Ex_NormalUnLockKEV",
          "Ex_NormalUnLockKCV", "Ex_UrgentUnLockKFV", "Ex_UrgentUnLockKEV", "Ex_UrgentUnLockKCV", "Ex_LockParams",
          "Ex_LockLabel"},
         answerNewLockKeys},
        {"7016", "lock information", {"Ex_LockId"}, answerLockInformation},
        withGroups({"7018", "lock opening", {"Ex_LockNum"}, answerLockOpening, checkLockOpening},
                   {"Ex_LockId", "Ex_Action", "Ex_OTCCode", "Ex_UserA", "Ex_UserB"}),
        {"7019", "lock results", {}, answerLockResults},

        response("9001", "scanned label acknowledged", Announced::ScannedLabel,
                 {"Ex_SrcSeqNo", "Ex_PdaSn", "Ex_RetCode", "Ex_ScanState"}),
        response("9001", "user notice acknowledged", Announced::UserNotice,
                 {"Ex_SrcSeqNo", "Ex_RetCode", "Ex_PdaSn"}),
        response("9002", "login result", Announced::LoginRecord, {"Ex_PdaSn", "Ex_RetCode"}),
        response("9004", "inventory record acknowledged", Announced::InventoryRecord, {"Ex_SrcSeqNo", "Ex_RetCode"}),
        response("9005", "dot handover acknowledged", Announced::DotHandover, {"Ex_SrcSeqNo", "Ex_RetCode"}),
        response("9006", "power handover acknowledged", Announced::PowerHandover,
                 {"Ex_SrcSeqNo", "Ex_PdaSn", "Ex_RetCode"}),
    };
    return rows;
}
// clang-format on

std::vector<const MessageRow*> findMessageRows(std::string_view type) {
    std::vector<const MessageRow*> found;
    for (const MessageRow& row : messageRows()) {
        if (row.type == type) {
            found.push_back(&row);
        }
    }
    return found;
}

std::vector<std::string> requestTagNames(std::string_view type) {
    std::vector<std::string> names;
    for (const MessageRow* row : rowsOf(type)) {
        addOnce(names, sampleOf(row->tags));
        addOnce(names, sampleOf(row->groupTags));
    }
    return names;
}

std::vector<std::string> replyTagNames(std::string_view type) {
    std::vector<std::string> names;
    for (const MessageRow* row : rowsOf(type)) {
        if (row->answer != nullptr) {
            addOnce(names, sampleReply(*row));
        }
    }
    return names;
}

} // namespace pdasim
