#include "pdasim/CtlCommand.h"
#include "pdasim/ExitCode.h"
#include "pdasim/GadgetCommand.h"
#include "pdasim/RunCommand.h"
#include "pdasim/ScenariosCommand.h"
#include "pdasim/ServeCommand.h"
#include "pdasim/TerminalOptions.h"
#include "pdasim/UsbIpCommand.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <iostream>
#include <string>
#include <vector>

namespace {

/** What is wrong with a command line and what fits in its place. */
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
    const std::string reason = rest.empty() ? "A subcommand is required behind \"" + name + "\""
                                            : "\"" + name + "\" has no subcommand \"" + rest.front() + "\"";
    return reason + ". There are: " + known + ". \"" + name + " --help\" tells what each does.";
}

} // namespace

int main(int argc, char** argv) {
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
        program.require_subcommand(1);
        program.footer(pdasim::magicHelp());
        try {
            program.parse(argc, argv);
        } catch (const CLI::Success& help) {
            return program.exit(help);
        } catch (const CLI::ParseError& mistake) {
            std::cerr << "pdasim: " << adviceOn(program, mistake) << std::endl;
            return pdasim::BadUsage;
        }
        return exitCode;
    } catch (const std::exception& failure) {
        std::cerr << "pdasim: " << failure.what() << std::endl;
        return pdasim::CannotSimulate;
    }
}
