#include "pdasim/Subcommands.h"

#include "pdasim/ChildProcess.h"
#include "pdasim/Session.h"
#include "pdasim/EnvironmentFile.h"
#include "pdasim/Reporting.h"
#include "pdasim/TerminalOptions.h"

#include <iostream>
#include <memory>
#include <optional>
#include <string>

namespace pdasim {

namespace {

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
