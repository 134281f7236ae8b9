#include "pdasim/Subcommands.h"

#include "pdasim/ChildProcess.h"
#include "pdasim/Reporting.h"
#include "pdasim/Session.h"
#include "pdasim/TerminalOptions.h"

#include <memory>
#include <string>
#include <vector>

namespace pdasim {

namespace {

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

} // namespace pdasim
