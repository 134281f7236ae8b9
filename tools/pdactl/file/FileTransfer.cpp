#include "file/FileTransfer.h"

#include "AtomicFile.h"
#include "Message.h"
#include "file/TransferWatch.h"

#include <QByteArray>

#include <algorithm>
#include <string_view>

namespace pdactl {

namespace {

std::vector<Field> fieldsOf(const std::string& path, std::size_t bytes, int packets,
                            const std::string& resultCode) {
    return {{"file", path},
            {"bytes", std::to_string(bytes), true},
            {"packets", std::to_string(packets), true},
            {"pRetCode", resultCode}};
}

/// False when the text is not pairs of hexadecimal digits, so that it is not a file.
bool writeBytes(AtomicFile& file, std::string_view text) {
    constexpr std::size_t kPiece = std::size_t{1} << 20U;
    for (; !text.empty(); text.remove_prefix(std::min(kPiece, text.size()))) {
        const std::string_view piece = text.substr(0, kPiece);
        const QByteArray digits(piece.data(), static_cast<int>(piece.size()));
        const QByteArray bytes = QByteArray::fromHex(digits);
        if (bytes.toHex() != digits.toLower()) {
            return false;
        }
        file.write({bytes.constData(), static_cast<std::size_t>(bytes.size())});
    }
    file.commit();
    return true;
}

} // namespace

int sendFile(const FileOrder& order, const std::string& path, const std::string& bytes,
             const Settings& settings) {
    const Transaction& code = *findCode("600015");
    Values values{{"pdaNumber", order.pda},
                  {"pCmdEx", std::to_string(order.command)},
                  {"pInfoEx", order.info},
                  {"pFilePath", QByteArray::fromStdString(bytes).toHex().toStdString()}};
    const Host host(settings.verbose);
    if (!isToBeSent(messageOf(code, values), settings.isDryRun, settings.asJson)) {
        return Success;
    }
    const int packets = packetsOf(values["pFilePath"]);
    int command = order.command;
    ReservedBuffer resultCode;
    Outcome outcome;
    host.call([&](CPDAXMLAnalysis& library) {
        TransferWatch watch(code, packets);
        outcome.result =
            library.ReadFileDataToPDA(values["pdaNumber"].data(), &command, values["pInfoEx"].data(),
                                      values["pFilePath"].data(), resultCode.data());
        watch.finish();
        outcome.fields = fieldsOf(path, bytes.size(), packets, resultCode.text());
        judge(outcome, code);
        watch.judge(outcome, 0);
    });
    print(outcome, settings.asJson);
    return outcome.exitCode;
}

int fetchFile(const FileOrder& order, const std::string& path, const Settings& settings) {
    const Transaction& code = *findCode("600016");
    Values values{
        {"pdaNumber", order.pda}, {"pCmdEx", std::to_string(order.command)}, {"pInfEx", order.info}};
    const Host host(settings.verbose);
    if (!isToBeSent(messageOf(code, values), settings.isDryRun, settings.asJson)) {
        return Success;
    }
    AtomicFile file(path);
    ReservedBuffer text(2 * kMaxFileBytes + 1);
    int command = order.command;
    ReservedBuffer resultCode;
    Outcome outcome;
    host.call([&](CPDAXMLAnalysis& library) {
        TransferWatch watch(code, 0);
        outcome.result = library.ReceiveDataSaveToFile(
            values["pdaNumber"].data(), &command, values["pInfEx"].data(), text.data(), resultCode.data());
        const std::string_view digits(text.data());
        watch.finish();
        outcome.fields = fieldsOf(path, digits.size() / 2, watch.packets(), resultCode.text());
        judge(outcome, code);
        watch.judge(outcome, digits.size());
        if (outcome.exitCode == Success && !writeBytes(file, digits)) {
            markIncomplete(outcome,
                           "What came is not pairs of hexadecimal digits, so it is not a file. Fetch "
                           "it again, and see " +
                               watch.logPath() + ".");
        }
    });
    print(outcome, settings.asJson);
    return outcome.exitCode;
}

} // namespace pdactl
