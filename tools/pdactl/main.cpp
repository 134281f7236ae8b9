#include "Commands.h"
#include "Signals.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <iostream>

namespace {

constexpr const char* kFooter =
    "First: pdactl doctor, then pdactl info. Each command has --help with an example.\n"
    "Values that are secret are given as @FILE, or as - for standard input.\n\n"
    "Exit codes:\n"
    "  0  done\n"
    "  1  something on this machine is in the way\n"
    "  2  the command line makes no sense\n"
    "  3  the library refused the request\n"
    "  4  the message could not be written to the terminal\n"
    "  5  the terminal gave no usable reply\n"
    "  6  the terminal refused\n"
    "  7  the library failed\n"
    "  8  a file did not arrive whole\n"
    "  130  ended by Ctrl-C; 128 and a signal's number for each signal\n";

bool asksForJson(int argc, char** argv) {
    return std::find(argv, argv + argc, std::string("--json")) != argv + argc;
}

/// What to do about a mistake; when a command is missing or unknown, which ones could have come next.
std::string advice(const CLI::App& app) {
    const CLI::App* command = &app;
    std::string name = app.get_name();
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().front();
        name += " " + command->get_name();
    }
    std::string known;
    for (const CLI::App* each : command->get_subcommands(nullptr)) {
        known += (known.empty() ? "" : ", ") + each->get_name();
    }
    if (known.empty()) {
        return "Add --help to see what fits.";
    }
    const std::vector<std::string> rest = app.remaining(true);
    return "After \"" + name + "\" comes one of: " + known +
           (rest.empty() ? "" : ", but not \"" + rest.front() + "\"") + ". '" + name +
           " --help' tells what each does.";
}

/// A standard stream that is closed would be the next file that is opened, the library's log for example.
void openStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) < 0) {
            // Which takes the lowest free number. Not to be written to: what gets lost there must not count
            // as success.
            (void)::open("/dev/null", stream == STDOUT_FILENO ? O_RDONLY : O_RDWR);
        }
    }
}

void describe(CLI::App& app, pdactl::Program& program) {
    app.add_flag("--json", program.asJson, "print exactly one JSON document on standard output")
        ->disable_flag_override();
    app.add_flag("--verbose", program.verbose, "show the library's own lines on standard error")
        ->disable_flag_override();
    app.set_version_flag("--version", "pdactl " PDACTL_VERSION, "print the program's version");
    app.require_subcommand(1);
    app.fallthrough();
    pdactl::addCallCommand(program);
    pdactl::addVerbCommands(program);
    pdactl::addFileCommands(program);
    pdactl::addListenCommands(program);
    pdactl::addServeCommand(program);
    pdactl::addDoctorCommand(program);
    pdactl::addUdevRuleCommand(program);
    pdactl::addLogCommand(program);
    pdactl::addSchemaCommand(program);
    pdactl::describeGroups(program);
    app.footer(kFooter); // at the end: commands added later would take it over
}

int run(int argc, char** argv) {
    CLI::App app("Drives a handheld terminal for valuables bags through the library pdalink.", "pdactl");
    pdactl::Program program(app);
    describe(app, program);
    if (argc > 1 && argv[1] == std::string("__complete")) { // by the shells' completion scripts
        pdactl::printCompletions(app, {argv + 2, argv + argc});
        pdactl::requireOutput();
        return pdactl::Success;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& help) {
        (void)app.exit(help);
        pdactl::requireOutput();
        return pdactl::Success;
    } catch (const CLI::ParseError& mistake) {
        throw pdactl::Failure(pdactl::BadUsage, std::string(mistake.what()) + ". " + advice(app));
    }
    pdactl::handleSignals(program.asJson);
    const int exitCode = program.action();
    pdactl::requireOutput();
    return exitCode;
}

} // namespace

int main(int argc, char** argv) {
    openStandardStreams();
    pdactl::silenceLibrary();
    int exitCode = pdactl::LocalFailure;
    std::string message;
    try {
        return run(argc, argv);
    } catch (const pdactl::Failure& failure) {
        exitCode = failure.exitCode();
        message = failure.what();
    } catch (const std::exception& failure) {
        message = failure.what();
    }
    if (asksForJson(argc, argv)) {
        std::cout << pdactl::lineOf(pdactl::documentOf(exitCode, message)).constData() << std::flush;
    }
    std::cerr << "pdactl: " << message << std::endl;
    return exitCode;
}
