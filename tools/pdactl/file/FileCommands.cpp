#include "Commands.h"
#include "Failure.h"
#include "file/FileTransfer.h"

#include <filesystem>
#include <memory>

namespace pdactl {

namespace {

namespace fs = std::filesystem;

struct FileOptions {
    std::string file;
    FileOrder order{kPresetPda, 1, ""};
};

[[noreturn]] void refuse(const std::string& path, const std::string& reason) {
    throw Failure(LocalFailure, "Cannot send " + path + ": " + reason);
}

std::string readFile(const std::string& path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (!fs::exists(status)) {
        refuse(path, "there is no such file. Check its name.");
    }
    if (!fs::is_regular_file(status)) {
        refuse(path, "it is not a regular file. Write what it yields into one, and send that.");
    }
    const std::uintmax_t size = fs::file_size(path, error);
    if (size < kMinFileBytes) {
        throw Failure(BadUsage, "Cannot send " + path + ": it has " + std::to_string(size) +
                                    " bytes, and the protocol sends files of " +
                                    std::to_string(kMinFileBytes) +
                                    " bytes and more. Fill it up, for example with blanks.");
    }
    if (size > kMaxFileBytes) {
        throw Failure(BadUsage, "Cannot send " + path + ": it has " + std::to_string(size) +
                                    " bytes, and the protocol sends at most " +
                                    std::to_string(kMaxFileBytes) +
                                    " (600,000,000 hexadecimal digits). "
                                    "Cut it, for example with 'split'.");
    }
    return readWhole(path);
}

void checkOrder(const FileOrder& order) {
    requireSendable("--pda", order.pda);
    requireSendable("--info (the file's name unless given)", order.info);
}

int send(const Program& program, FileOptions options) {
    if (options.order.info.empty()) {
        options.order.info = fs::path(options.file).filename();
    }
    checkOrder(options.order);
    const std::string bytes = readFile(options.file);
    return sendFile(options.order, options.file, bytes, program);
}

int fetch(const Program& program, const FileOptions& options) {
    checkOrder(options.order);
    return fetchFile(options.order, options.file, program);
}

CLI::App* addFileCommand(Program& program, const char* word, const char* help, const char* example,
                         const char* fileHelp, const std::shared_ptr<FileOptions>& options) {
    CLI::App* const command = subcommand(program.app, {"file", word});
    command->description(help);
    addExample(*command, {"file", word}, example);
    command->add_option("FILE", options->file, fileHelp)->required();
    command->add_option("--pda", options->order.pda, "the terminal's number")->capture_default_str();
    command
        ->add_option("--command", options->order.command, "the number by which the terminal knows the file")
        ->capture_default_str();
    addDryRun(*command, program);
    return command;
}

} // namespace

void addFileCommands(Program& program) {
    const auto toSend = std::make_shared<FileOptions>();
    CLI::App* const sending =
        addFileCommand(program, "send", "Send a file to the terminal", "firmware.bin --command 7",
                       "the file, of 5 to 300,000,000 bytes", toSend);
    sending->add_option("--info", toSend->order.info, "free text that goes with it; its name unless given");
    sending->callback(
        [&program, toSend] { program.action = [&program, toSend] { return send(program, *toSend); }; });
    const auto toFetch = std::make_shared<FileOptions>();
    CLI::App* const fetching =
        addFileCommand(program, "fetch", "Fetch a file from the terminal", "report.bin --command 7",
                       "where it is written to; it appears there only when it has arrived whole", toFetch);
    fetching->add_option("--info", toFetch->order.info, "free text for the terminal");
    fetching->callback(
        [&program, toFetch] { program.action = [&program, toFetch] { return fetch(program, *toFetch); }; });
}

} // namespace pdactl
