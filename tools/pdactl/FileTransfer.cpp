#include "FileTransfer.h"

#include "AtomicFile.h"
#include "Failure.h"
#include "FollowedFile.h"
#include "HexText.h"
#include "Host.h"
#include "LibraryFiles.h"
#include "Progress.h"
#include "ReservedBuffer.h"
#include "TransferRecord.h"

#include <pdalink/analysis/PDAXMLAnalysis.h>
#include <pdalink/analysis/ResultStores.h>

#include <QTimer>

#include <algorithm>
#include <string_view>

namespace pdactl {

namespace {

constexpr std::size_t PacketDigits = 3000;
constexpr int LookEvery = 100; // milliseconds; the log's copies hold half a minute of packets

/** One transfer as it can be watched from inside: by the library's own events while it waits. */
class Watch {
public:
    Watch(const std::string& verb, const char* type, int total)
        : m_log(logDirectory()), m_record(type), m_progress(verb), m_total(total), m_firstNumber(m_SeqNo) {
        QObject::connect(&m_timer, &QTimer::timeout, [this] { look(); });
        m_timer.start(LookEvery);
    }

    /** What the log says of the whole transfer. */
    const TransferRecord& finish() {
        m_timer.stop();
        look();
        m_record.finish();
        return m_record;
    }
    bool isComplete() const { return m_log.isComplete(); }
    const std::string& logPath() const { return m_log.path(); }

private:
    void look() {
        m_record.add(m_log.readNew());
        // The last message is still under way.
        m_progress.show(std::max(m_SeqNo - m_firstNumber - 1, 0), m_total > 0 ? m_total : m_record.total());
    }

    FollowedFile m_log;
    TransferRecord m_record;
    Progress m_progress;
    int m_total;
    int m_firstNumber;
    QTimer m_timer;
};

void doubt(Outcome& outcome, const std::string& message) {
    outcome.exitCode = TransferRefused;
    outcome.message = message;
}

std::string refusals(const TransferRecord& record) {
    const std::string code = record.firstRefusal().empty() ? "no verdict" : record.firstRefusal();
    return "The terminal refused " + std::to_string(record.refused()) + " packet(s), the first with " + code;
}

/** A success that the log does not bear out is none. */
void checkSent(Outcome& outcome, const TransferRecord& record, const Watch& watch, int packets) {
    if (outcome.result != 0) {
        return;
    }
    if (record.refused() > 0) {
        doubt(outcome, refusals(record) + ", so the file is not whole there. Send it again.");
    } else if (!watch.isComplete() || record.agreed() != packets) {
        doubt(outcome, "The log shows " + std::to_string(record.agreed()) + " packets taken instead of " +
                           std::to_string(packets) + ". Send the file again, and see " + watch.logPath() +
                           ".");
    }
}

void checkFetched(Outcome& outcome, const TransferRecord& record, const Watch& watch, std::string_view text) {
    if (outcome.result != 0) {
        return;
    }
    if (record.refused() > 0 && record.agreed() > 0) {
        doubt(outcome, refusals(record) + ", after " + std::to_string(record.agreed()) +
                           " that came. Fetch the file again.");
    } else if (outcome.exitCode != Success) {
        return;
    } else if (!isHex(text)) {
        doubt(outcome, "What came is not pairs of hexadecimal digits, so it is no file. Fetch it again, and "
                       "see " +
                           watch.logPath() + ".");
    } else if (!watch.isComplete() || !record.hasWhole(text.size())) {
        doubt(outcome, "Packets are missing: the log does not show all " + std::to_string(record.total()) +
                           " that the terminal announced. Fetch the file again, and see " + watch.logPath() +
                           ".");
    }
}

Field number(const char* name, std::size_t value) {
    return {name, std::to_string(value), true};
}

} // namespace

Outcome sendFile(const FileOrder& order, const std::string& bytes, bool verbose) {
    std::string text = toHex(bytes);
    const auto packets = static_cast<int>((text.size() + PacketDigits - 1) / PacketDigits);
    std::string pda = order.pda;
    std::string info = order.info;
    int command = order.command;
    ReservedBuffer verdict(ReplyRoom);
    Outcome outcome;
    Host(verbose).call([&] {
        CPDAXMLAnalysis library;
        Watch watch("sending", "8015", packets);
        outcome.result =
            library.ReadFileDataToPDA(pda.data(), &command, info.data(), text.data(), verdict.data());
        outcome.fields = {number("bytes", bytes.size()),
                          number("packets", static_cast<std::size_t>(packets)),
                          {"pRetCode", verdict.text()}};
        judge(outcome, Results::File, "pRetCode");
        checkSent(outcome, watch.finish(), watch, packets);
    });
    return outcome;
}

Outcome fetchFile(const FileOrder& order, const std::string& path, bool verbose) {
    AtomicFile file(path);
    ReservedBuffer text(2 * MostFileBytes + 1);
    std::string pda = order.pda;
    std::string info = order.info;
    int command = order.command;
    ReservedBuffer verdict(ReplyRoom);
    Outcome outcome;
    Host(verbose).call([&] {
        CPDAXMLAnalysis library;
        Watch watch("fetching", "8016", 0);
        outcome.result =
            library.ReceiveDataSaveToFile(pda.data(), &command, info.data(), text.data(), verdict.data());
        const std::string_view digits(text.data());
        const TransferRecord& record = watch.finish();
        outcome.fields = {number("bytes", digits.size() / 2),
                          number("packets", static_cast<std::size_t>(record.agreed())),
                          {"pRetCode", verdict.text()}};
        judge(outcome, Results::File, "pRetCode");
        checkFetched(outcome, record, watch, digits);
    });
    if (outcome.exitCode == Success) {
        constexpr std::size_t Piece = std::size_t{1} << 20U;
        for (std::string_view digits(text.data()); !digits.empty();
             digits.remove_prefix(std::min(Piece, digits.size()))) {
            file.write(fromHex(digits.substr(0, Piece)));
        }
        file.commit();
    }
    return outcome;
}

} // namespace pdactl
