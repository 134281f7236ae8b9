#include "AtomicFile.h"
#include "Commands.h"
#include "Message.h"
#include "file/FileTransfer.h"
#include "file/TransferWatch.h"

#include <QByteArray>

#include <algorithm>
#include <filesystem>

namespace pdactl {

namespace {

namespace fs = std::filesystem;

/// The most bytes and the fewest that the protocol can carry.
constexpr std::size_t kMaxFileBytes = 300000000;
constexpr std::size_t kMinFileBytes = 5;

[[noreturn]] void refuse(ExitCode exitCode, const std::string& path, const std::string& reason) {
    throw Failure(exitCode, "Cannot send " + path + ": " + reason);
}

std::string readFile(const std::string& path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (!fs::exists(status)) {
        refuse(LocalFailure, path, "there is no such file. Check its name.");
    }
    if (!fs::is_regular_file(status)) {
        refuse(LocalFailure, path, "it is not a regular file. Write what it yields into one, and send that.");
    }
    const std::uintmax_t size = fs::file_size(path, error);
    const std::string begin = "it has " + std::to_string(size) + " bytes, and the protocol sends ";
    if (size < kMinFileBytes) {
        refuse(BadUsage, path,
               begin + "files of " + std::to_string(kMinFileBytes) +
                   " bytes and more. Fill it up, for example with blanks.");
    }
    if (size > kMaxFileBytes) {
        refuse(BadUsage, path,
               begin + "at most " + std::to_string(kMaxFileBytes) +
                   " (600,000,000 hexadecimal digits). Cut it, for example with 'split'.");
    }
    return readWhole(path);
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

void setFields(Outcome& outcome, const FileOptions& options, std::size_t bytes, int packets,
               const char* resultCode) {
    outcome.fields = {{"file", QString::fromStdString(options.file)},
                      {"bytes", static_cast<int>(bytes)},
                      {"packets", packets},
                      {"pRetCode", QString(resultCode)}};
}

/// What the first message says, checked.
Values valuesOf(const FileOptions& options, const char* info) {
    requireSendable("--pda", options.pda);
    requireSendable("--info (the file's name unless given)", options.info);
    return {{"pdaNumber", options.pda}, {"pCmdEx", std::to_string(options.command)}, {info, options.info}};
}

} // namespace

std::optional<Outcome> sendFile(const Host& host, FileOptions options, const Settings& settings) {
    if (options.info.empty()) {
        options.info = fs::path(options.file).filename();
    }
    const Transaction& code = *findCode("600015");
    Values values = valuesOf(options, "pInfoEx");
    std::string& digits = values["pFilePath"];
    digits = QByteArray::fromStdString(readFile(options.file)).toHex().toStdString();
    if (!isToBeSent(messageOf(code, values), settings)) {
        return {};
    }
    const int packets = packetsOf(digits);
    const Room resultCode = reserve();
    Outcome outcome;
    host.call(code.name(), [&](CPDAXMLAnalysis& library) {
        TransferWatch watch(code, packets);
        outcome.result = library.ReadFileDataToPDA(options.pda.data(), &options.command, options.info.data(),
                                                   digits.data(), resultCode.get());
        watch.finish();
        setFields(outcome, options, digits.size() / 2, packets, resultCode.get());
        judge(outcome, code);
        watch.judge(outcome, 0);
    });
    return outcome;
}

std::optional<Outcome> fetchFile(const Host& host, FileOptions options, const Settings& settings) {
    const Transaction& code = *findCode("600016");
    const Values values = valuesOf(options, "pInfEx");
    if (!isToBeSent(messageOf(code, values), settings)) {
        return {};
    }
    AtomicFile file(options.file);
    const Room text = reserve(2 * kMaxFileBytes + 1);
    const Room resultCode = reserve();
    Outcome outcome;
    host.call(code.name(), [&](CPDAXMLAnalysis& library) {
        TransferWatch watch(code, 0);
        outcome.result = library.ReceiveDataSaveToFile(options.pda.data(), &options.command,
                                                       options.info.data(), text.get(), resultCode.get());
        watch.finish();
        const std::string_view digits(text.get());
        setFields(outcome, options, digits.size() / 2, watch.packets(), resultCode.get());
        judge(outcome, code);
        watch.judge(outcome, digits.size());
        if (outcome.exitCode == Success && !writeBytes(file, digits)) {
            markIncomplete(outcome,
                           "What came is not pairs of hexadecimal digits, so it is not a file. Fetch "
                           "it again, and see " +
                               watch.logPath() + ".");
        }
    });
    return outcome;
}

namespace {

struct FileCommand {
    const char* word;
    const char* help;
    const char* example;
    const char* fileHelp;
    const char* infoHelp;
    std::optional<Outcome> (*transfer)(const Host& host, FileOptions options, const Settings& settings);
};

void add(Program& program, const FileCommand& row) {
    const auto options = std::make_shared<FileOptions>();
    CLI::App& command = addCommand(program, {"file", row.word}, row.help, row.example);
    command.add_option("FILE", options->file, row.fileHelp)->required();
    command.add_option("--pda", options->pda, "the terminal's number")->capture_default_str();
    command.add_option("--command", options->command, "the number by which the terminal knows the file")
        ->capture_default_str();
    command.add_option("--info", options->info, row.infoHelp);
    addDryRun(command, program);
    setAction(command, program, [&program, options, transfer = row.transfer] {
        const Host host(program);
        const std::optional<Outcome> outcome = transfer(host, *options, program);
        if (outcome) {
            print(*outcome, program.asJson);
        }
        return outcome ? outcome->exitCode : Success;
    });
}

} // namespace

void addFileCommands(Program& program) {
    add(program, {"send", "Send a file to the terminal", "firmware.bin --command 7",
                  "the file, of 5 to 300,000,000 bytes", "free text that goes with it; its name unless given",
                  sendFile});
    add(program, {"fetch", "Fetch a file from the terminal", "report.bin --command 7",
                  "where it is written to; it appears there only when it has arrived whole",
                  "free text for the terminal", fetchFile});
}

} // namespace pdactl
