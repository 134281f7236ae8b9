#include "pdasim/Subcommands.h"

#include "System.h"
#include "node/FileDescriptor.h"
#include "pdasim/ChildProcess.h"
#include "pdasim/Reporting.h"
#include "pdasim/Session.h"
#include "pdasim/TerminalOptions.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace pdasim {

namespace {

constexpr std::array<const char*, 2> kVariables = {"LD_PRELOAD", "UMOCKDEV_DIR"};

std::string beginningOf(const char* variable) {
    return std::string("export ").append(variable).append("=");
}

/// The text of a plain file; nothing for anything else, links included.
std::optional<std::string> textOf(const std::string& path) {
    struct stat information {};
    if (::lstat(path.c_str(), &information) != 0 || !S_ISREG(information.st_mode)) {
        return std::nullopt;
    }
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

/// Whether the text is what shellSettings() makes: one line for each variable, and nothing else.
bool holdsSettings(const std::string& text) {
    std::istringstream lines(text);
    std::string line;
    for (const char* variable : kVariables) {
        const std::string beginning = beginningOf(variable);
        if (!std::getline(lines, line) || line.compare(0, beginning.size(), beginning) != 0) {
            return false;
        }
    }
    return !std::getline(lines, line);
}

/// An empty file, and what a killed process has left behind, may be replaced; everything else is not ours.
void refuseForeignFile(const std::string& path) {
    std::error_code unknown;
    const bool exists = std::filesystem::exists(std::filesystem::symlink_status(path, unknown));
    const std::optional<std::string> text = textOf(path);
    if (exists && !(text && (text->empty() || holdsSettings(*text)))) {
        throw AdvisedError(EEXIST, "cannot write the settings to " + path + ", which pdasim did not write",
                           "Give --env-file another path, or take that away first");
    }
}

/// Those of the variables that every program needs, as a shell reads them.
std::string shellSettings(const std::map<std::string, std::string>& environment) {
    std::string text;
    for (const char* variable : kVariables) {
        text.append(beginningOf(variable)).append(quotedForShell(environment.at(variable))).append("\n");
    }
    return text;
}

/// A file with such settings that is there, whole, as long as the object lives.
class EnvironmentFile {
public:
    /// Throws AdvisedError when the file cannot be written, or when there is one that holds anything but the
    /// settings of an earlier process.
    EnvironmentFile(std::string path, const std::string& text);
    EnvironmentFile(const EnvironmentFile&) = delete;
    EnvironmentFile& operator=(const EnvironmentFile&) = delete;
    ~EnvironmentFile();

private:
    std::string m_path;
    std::string m_text;
};

EnvironmentFile::EnvironmentFile(std::string path, const std::string& text)
    : m_path(std::move(path)), m_text(text) {
    refuseForeignFile(m_path);
    std::string fresh = m_path + ".XXXXXX";
    FileDescriptor file(::mkostemp(fresh.data(), O_CLOEXEC));
    if (!file.isOpen() ||
        ::write(file.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size()) ||
        std::rename(fresh.c_str(), m_path.c_str()) != 0) {
        const int error = errno;
        if (file.isOpen()) {
            (void)::unlink(fresh.c_str());
        }
        throw AdvisedError(error, "cannot write the settings to " + m_path,
                           "Give --env-file a path in a folder that is there and that you may write to");
    }
}

EnvironmentFile::~EnvironmentFile() {
    // Another process may have put its own settings there meanwhile.
    if (textOf(m_path) == m_text) {
        (void)::unlink(m_path.c_str());
    }
}

struct RunOptions {
    TerminalOptions terminal;
    std::vector<std::string> command;
};

int run(const RunOptions& options) {
    const HeldSignals signals;
    TestBed testBed;
    const Session session(options.terminal, testBed);
    const int code = runCommand(options.command, testBed.environment(), signals);
    const std::vector<std::string> violations = session.violations();
    reportViolations(violations);
    return code == 0 && !violations.empty() ? static_cast<int>(ProtocolViolated) : code;
}

struct ServeOptions {
    TerminalOptions terminal;
    std::string environmentPath;
};

int serve(const ServeOptions& options) {
    const HeldSignals signals;
    if (!endWithParent()) {
        return 0;
    }
    TestBed testBed;
    const Session session(options.terminal, testBed);
    const std::string settings = shellSettings(testBed.environment());
    std::optional<EnvironmentFile> file;
    if (!options.environmentPath.empty()) {
        file.emplace(options.environmentPath, settings);
    }
    std::cout << settings;
    return serveUntilSignalled(
        session, "programs with these two settings find the terminal, \"pdasim ctl\" commands it", signals);
}

} // namespace

void addRunCommand(CLI::App& program, int& exitCode) {
    const auto options = std::make_shared<RunOptions>();
    CLI::App* command =
        program.add_subcommand("run", "Run a command that finds a simulated terminal among its devices:\n"
                                      "pdasim run [OPTIONS] -- COMMAND [ARGUMENTS...]");
    addTerminalOptions(*command, options->terminal);
    command->add_option("command", options->command, "The command and its arguments, after \"--\"")
        ->required();
    command->footer("Example: pdasim run --user -- ./my_host\n\n" + magicHelp() +
                    "\n\nExit code: the command's own, 128 and the number of the signal that ended it;\n"
                    "70 when the command succeeded but broke the protocol; 64 bad usage; 65 a bad\n"
                    "scenario; 71 the device cannot be simulated; 73 a file or socket cannot be made;\n"
                    "126, 127 the command cannot be run.");
    command->final_callback(
        [options, &exitCode] { exitCode = reportingFailures([&options] { return run(*options); }); });
}

void addServeCommand(CLI::App& program, int& exitCode) {
    const auto options = std::make_shared<ServeOptions>();
    CLI::App* command =
        program.add_subcommand("serve", "Keep a simulated terminal up for programs that other shells start");
    addTerminalOptions(*command, options->terminal);
    command->add_option("--env-file", options->environmentPath,
                        "Write the two settings to a file as well, once the terminal is there;\n"
                        "the file goes with the terminal, and no other one is replaced");
    command->footer(
        "Example: pdasim serve --scenario lock-shop\n\n" + magicHelp() +
        "\n\nPrints two settings for the shells that are to find the terminal, and then a line that\n"
        "begins with \"# ready\". SIGINT, SIGTERM or the end of the parent process ends it.\n\n"
        "Exit code: 0; 70 when a host broke the protocol; 64 bad usage; 65 a bad scenario;\n"
        "71 the device cannot be simulated; 73 a file or socket cannot be made.");
    command->final_callback(
        [options, &exitCode] { exitCode = reportingFailures([&options] { return serve(*options); }); });
}

} // namespace pdasim
