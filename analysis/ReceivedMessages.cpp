#include "analysis/Exchange.h"
#include "analysis/MessageEnvelope.h"
#include "analysis/PDAXMLAnalysis.h"
#include "analysis/TransactionTable.h"
#include "device/ReceiveBuffer.h"
#include "util/Util.h"

#include <algorithm>
#include <vector>

// Messages that the terminal starts. The handlers do not look at a message's type: the host has chosen.

namespace {

using namespace pdalink;

// The acknowledgements' echo fields, and the lines that show a message, never carry the received values.
constexpr char kPlaceholder[] = "-";

/// A tag of an acknowledgement, with its value, which is the same in every one.
struct ConstantTag {
    const char* name;
    const char* value;
};

/// Whether the receive buffer, in which the message arrived too, is emptied before or after the store is
/// written.
enum class Clearing { BeforeStoring, AfterStoring };

/// A message from the terminal and what answers it.
struct Handler {
    const char* begin;          ///< log line at the beginning; null for none
    const char* readLine;       ///< log line about the message; null for none
    List<const char*, 23> tags; ///< in the order of the slots that they fill
    Clearing clearing;
    const char* acknowledgementType; ///< null for none
    List<ConstantTag, 4> acknowledgement;
    bool* isFinished = nullptr; ///< lowered when the message came; null for none
};

/// The tags of a handover's record: one of its own in second place, the rest alike.
constexpr List<const char*, 23> handoverTags(const char* second) {
    List<const char*, 23> tags{"Ex_PdaSn", second, "Ex_Time", "Ex_LabelNum", "Ex_ErrLabel"};
    for (const ReplyField& field : kParties) {
        tags.append(field.tag);
    }
    return tags;
}

// clang-format off
constexpr Handler kScanResult{
    "[ReceiveScanResult] begin", nullptr,
    {"Ex_PdaSn", "Ex_Label"},
    Clearing::BeforeStoring,
    "9001", {{"Ex_SrcSeqNo",  kPlaceholder},
             {"Ex_PdaSn",     kPlaceholder},
             {"Ex_RetCode",   kSuccess},
             {"Ex_ScanState", "1"}},
};

constexpr Handler kRandomNumber{
    "[ReceiveRandomNumber] begin", "Read XML:",
    {"Ex_PdaSn", "Ex_UserNm"},
    Clearing::BeforeStoring,
    "9001", {{"Ex_SrcSeqNo", kPlaceholder},
             {"Ex_RetCode",  kSuccess},
             {"Ex_PdaSn",    kPlaceholder}},
};

constexpr Handler kLoginData{
    "[ReceiveLoginData] begin", "Read XML:",
    {"Ex_PdaSn", "Ex_Login", "Ex_Name", "Ex_FigData", "Ex_Rnd", "Ex_Pwd", "Ex_MacChkVal"},
    Clearing::BeforeStoring,
    nullptr, {},
};

constexpr Handler kInventoryData{
    nullptr, nullptr,
    {"Ex_PdaSn", "Ex_Total", "Ex_Label", "Ex_ErrLabel", "Ex_Login", "Ex_Name", "Ex_FigData", "Ex_Rnd",
     "Ex_Pwd", "Ex_MacChkVal"},
    Clearing::AfterStoring,
    "9004", {{"Ex_SrcSeqNo", kPlaceholder},
             {"Ex_RetCode",  kSuccess}},
};

constexpr Handler kHandoverDotData{
    "[ReceiveHandoverDotData] begin", nullptr,
    handoverTags("Ex_Road"),
    Clearing::AfterStoring,
    "9005", {{"Ex_SrcSeqNo", kPlaceholder},
             {"Ex_RetCode",  kSuccess}},
    &pda_HandoverDotState,
};

constexpr Handler kHandoverPowerData{
    "[ReceiveHandoverPowerData] begin", nullptr,
    handoverTags("Ex_BatchNb"),
    Clearing::AfterStoring,
    "9006", {{"Ex_SrcSeqNo", kPlaceholder},
             {"Ex_PdaSn",    kPlaceholder},
             {"Ex_RetCode",  kSuccess}},
    &pda_HandoverPowerState,
};
// clang-format on

/// The values of the handler's tags. The message counts as far as its length in characters reaches into its
/// bytes. Throws for a text that is longer than a message can be.
std::vector<QString> valuesOf(const Handler& handler, const char* text) {
    const QString message = QString::fromUtf8(Input(text).bytes());
    QByteArray bytes = message.toUtf8();
    std::vector<QString> values(handler.tags.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        CUtil::GetXMLValue(values[i], bytes.data(), message.size(), const_cast<char*>(handler.tags[i]));
    }
    return values;
}

int acknowledge(const Handler& handler) {
    if (handler.acknowledgementType == nullptr) {
        return kReplied;
    }
    QString tags;
    for (const ConstantTag& tag : handler.acknowledgement) {
        tags += taggedText(tag.name, QLatin1String(tag.value));
    }
    Transaction row{};
    row.type = handler.acknowledgementType;
    return sendOnly({row, nullptr, nullptr}, tags);
}

/// Takes a message's values into the slots, unless those are null, and acknowledges it.
int receive(const Handler& handler, const char* text, QString* slots) {
    return guardedTask(kUsualResults, [&] {
        if (handler.begin != nullptr) {
            logMessage(handler.begin);
        }
        if (text == nullptr) {
            return kInternalFailure;
        }
        if (handler.readLine != nullptr) {
            logMessage(std::string(handler.readLine) + kPlaceholder);
        }
        const std::vector<QString> values = valuesOf(handler, text);
        if (handler.clearing == Clearing::BeforeStoring) {
            emptyBuffer();
        }
        if (slots != nullptr) {
            std::copy(values.begin(), values.end(), slots);
        }
        if (handler.clearing == Clearing::AfterStoring) {
            emptyBuffer();
        }
        if (handler.isFinished != nullptr) {
            *handler.isFinished = false;
        }
        return acknowledge(handler);
    });
}

/// The first free pair of the scan store, null when all are taken.
QString* freeScanPair() {
    for (QString* pair = std::begin(pda_ScanLabel); pair != std::end(pda_ScanLabel); pair += 2) {
        if (pair->isEmpty()) {
            return pair;
        }
    }
    return nullptr;
}

} // namespace

// NOLINTBEGIN(readability-convert-member-functions-to-static): hosts call members of an object

int CPDAXMLAnalysis::ReceiveScanResult(char* text) {
    return receive(kScanResult, text, freeScanPair());
}

int CPDAXMLAnalysis::ReceiveRandomNumber(char* text) {
    return receive(kRandomNumber, text, pda_RandomNumber);
}

int CPDAXMLAnalysis::ReceiveLoginData(char* text) {
    return receive(kLoginData, text, pda_LoginData);
}

int CPDAXMLAnalysis::ReceiveInventoryData(char* text) {
    return receive(kInventoryData, text, pda_GetInventoryRet);
}

int CPDAXMLAnalysis::ReceiveHandoverDotData(char* text) {
    return receive(kHandoverDotData, text, pda_HandoverDotData);
}

int CPDAXMLAnalysis::ReceiveHandoverPowerData(char* text) {
    return receive(kHandoverPowerData, text, pda_HandoverPowerData);
}

// NOLINTEND(readability-convert-member-functions-to-static)
