#include "FileTransfer.h"

#include "AtomicFile.h"
#include "HexText.h"
#include "Host.h"
#include "ReservedBuffer.h"
#include "TransferWatch.h"
#include "WireMessage.h"

#include <pdalink/analysis/PDAXMLAnalysis.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace pdactl {

namespace {

std::vector<Field> fieldsOf(const std::string& path, std::size_t bytes, int packets,
                            const std::string& resultCode) {
    return {{"file", path},
            {"bytes", std::to_string(bytes), true},
            {"packets", std::to_string(packets), true},
            {"pRetCode", resultCode}};
}

void requireHex(Outcome& outcome, std::string_view digits, const std::string& logPath) {
    if (outcome.exitCode == Success && !isHex(digits)) {
        markIncomplete(outcome, "What came is not pairs of hexadecimal digits, so it is no file. Fetch it "
                                "again, and see " +
                                    logPath + ".");
    }
}

void writeBytes(AtomicFile& file, std::string_view digits) {
    constexpr std::size_t Piece = std::size_t{1} << 20U;
    for (; !digits.empty(); digits.remove_prefix(std::min(Piece, digits.size()))) {
        file.write(fromHex(digits.substr(0, Piece)));
    }
    file.commit();
}

} // namespace

int sendFile(const FileOrder& order, const std::string& path, const std::string& bytes,
             const Settings& settings) {
    const Code& code = *findCode("600015");
    Values values{{"pdaNumber", order.pda},
                  {"pCmdEx", std::to_string(order.command)},
                  {"pInfoEx", order.info},
                  {"pFilePath", toHex(bytes)}};
    const Host host(settings.verbose);
    if (!isToBeSent(messageOf(code, values), settings)) {
        return Success;
    }
    const int packets = packetsOf(values["pFilePath"]);
    int command = order.command;
    ReservedBuffer resultCode(ReplyRoom);
    Outcome outcome;
    host.call([&] {
        CPDAXMLAnalysis library;
        TransferWatch watch(code, packets);
        outcome.result =
            library.ReadFileDataToPDA(values["pdaNumber"].data(), &command, values["pInfoEx"].data(),
                                      values["pFilePath"].data(), resultCode.data());
        watch.finish();
        outcome.fields = fieldsOf(path, bytes.size(), packets, resultCode.text());
        judge(outcome, code.results, code.verdict);
        watch.judge(outcome, 0);
    });
    print(outcome, settings.asJson);
    return outcome.exitCode;
}

int fetchFile(const FileOrder& order, const std::string& path, const Settings& settings) {
    const Code& code = *findCode("600016");
    Values values{
        {"pdaNumber", order.pda}, {"pCmdEx", std::to_string(order.command)}, {"pInfEx", order.info}};
    const Host host(settings.verbose);
    if (!isToBeSent(messageOf(code, values), settings)) {
        return Success;
    }
    AtomicFile file(path);
    ReservedBuffer text(2 * MostFileBytes + 1);
    int command = order.command;
    ReservedBuffer resultCode(ReplyRoom);
    Outcome outcome;
    host.call([&] {
        CPDAXMLAnalysis library;
        TransferWatch watch(code, 0);
        outcome.result = library.ReceiveDataSaveToFile(
            values["pdaNumber"].data(), &command, values["pInfEx"].data(), text.data(), resultCode.data());
        const std::string_view digits(text.data());
        watch.finish();
        outcome.fields = fieldsOf(path, digits.size() / 2, watch.packets(), resultCode.text());
        judge(outcome, code.results, code.verdict);
        watch.judge(outcome, digits.size());
        requireHex(outcome, digits, watch.logPath());
    });
    if (outcome.exitCode == Success) {
        writeBytes(file, text.data());
    }
    print(outcome, settings.asJson);
    return outcome.exitCode;
}

} // namespace pdactl
