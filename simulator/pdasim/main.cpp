#include "pdasim/Reporting.h"
#include "pdasim/Subcommands.h"
#include "pdasim/TerminalOptions.h"

#include <CLI/CLI.hpp>

#include <fcntl.h>
#include <unistd.h>

#include <exception>
#include <iostream>
#include <string>
#include <vector>

namespace {

/// What is wrong with a command line and what fits in its place.
std::string adviceOn(const CLI::App& program, const CLI::ParseError& mistake) {
    const CLI::App* command = &program;
    std::string name = program.get_name();
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().front();
        name += " " + command->get_name();
    }
    std::string known;
    for (const CLI::App* each : command->get_subcommands([](const CLI::App*) { return true; })) {
        known += (known.empty() ? "" : ", ") + each->get_name();
    }
    const std::vector<std::string> rest = program.remaining(true);
    if (known.empty() || (!rest.empty() && rest.front()[0] == '-')) {
        return std::string(mistake.what()) + ". \"" + name + " --help\" shows what fits.";
    }
    const std::string reason = rest.empty() ? "A subcommand is required after \"" + name + "\""
                                            : "\"" + name + "\" has no subcommand \"" + rest.front() + "\"";
    return reason + ". There are: " + known + ". \"" + name + " --help\" tells what each does.";
}

/// A standard stream that is closed would be the next file that is opened: a socket, a node's other end.
void openStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) < 0) {
            // Which takes the lowest free number. Not to be written to: what gets lost there is no success.
            (void)::open("/dev/null", O_CLOEXEC | (stream == STDOUT_FILENO ? O_RDONLY : O_RDWR));
        }
    }
}

/// What was printed has to arrive: the exit code says so if nothing worse has happened.
int printed(int exitCode) {
    if (std::cout.flush() || exitCode != 0) {
        return exitCode;
    }
    std::cerr << "pdasim: standard output cannot be written. Look whether its disk is full, and give it "
                 "another place"
              << std::endl;
    return pdasim::CannotPrint;
}

} // namespace

int main(int argc, char** argv) {
    openStandardStreams();
    try {
        CLI::App program("A simulated handheld terminal for programs that talk to one over USB HID.",
                         "pdasim");
        int exitCode = 0;
        pdasim::addRunCommand(program, exitCode);
        pdasim::addServeCommand(program, exitCode);
        pdasim::addUsbIpCommand(program, exitCode);
        pdasim::addGadgetCommand(program, exitCode);
        pdasim::addCtlCommand(program, exitCode);
        pdasim::addScenariosCommand(program, exitCode);
        program.set_version_flag("--version", "pdasim " PDALINK_VERSION, "Print the version and exit");
        program.require_subcommand(1);
        program.footer(pdasim::magicHelp());
        try {
            program.parse(argc, argv);
        } catch (const CLI::Success& help) {
            return printed(program.exit(help));
        } catch (const CLI::ParseError& mistake) {
            std::cerr << "pdasim: " << adviceOn(program, mistake) << std::endl;
            return pdasim::BadUsage;
        }
        return printed(exitCode);
    } catch (const std::exception& failure) {
        std::cerr << "pdasim: " << failure.what() << std::endl;
        return pdasim::CannotSimulate;
    }
}
