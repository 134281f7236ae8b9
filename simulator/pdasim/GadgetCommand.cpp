#include "pdasim/Subcommands.h"

#include "ServingLoop.h"
#include "gadget/Gadget.h"
#include "gadget/GadgetPort.h"
#include "pdasim/ChildProcess.h"
#include "pdasim/Reporting.h"
#include "pdasim/Session.h"
#include "pdasim/TerminalOptions.h"

#include <cstdlib>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

namespace pdasim {

namespace {

struct GadgetOptions {
    TerminalOptions terminal;
    std::string controller;
    std::string node;
    bool printsScript = false;
    bool removes = false;
};

void checkForOne(const GadgetOptions& options) {
    const bool isForOne = options.printsScript || !options.controller.empty() || !options.node.empty();
    if (isForOne && options.terminal.terminals > 1) {
        throw std::invalid_argument(
            "--terminals: a script, a controller and a node are for one terminal; leave --terminals out");
    }
}

int printScript(const GadgetOptions& options) {
    if (options.removes) {
        std::cout << gadgetRemovalScript(options.controller) << std::flush;
        return 0;
    }
    const SimulatedTerminal::Options terminal = firstTerminal(options.terminal);
    std::cout << gadgetScript(terminal.device, terminal.reportSize, options.controller) << std::flush;
    return 0;
}

int serveGadget(const GadgetOptions& options) {
    const HeldSignals signals;
    if (!endWithParent()) {
        return 0;
    }
    // A test bed that this process might have been started in would hide the real devices.
    (void)::unsetenv("UMOCKDEV_DIR");
    ServingLoop loop;
    const Session session(options.terminal, [&](std::size_t /*place*/,
                                                const SimulatedTerminal::Options& settings) {
        return std::make_unique<SimulatedTerminal>(
            std::make_unique<GadgetPort>(loop,
                                         GadgetPort::Place{settings.device, options.controller, options.node},
                                         settings.reportSize),
            settings);
    });
    return serveUntilSignalled(session, "the host at the other end of the cable finds the terminal", signals);
}

int gadget(const GadgetOptions& options) {
    checkForOne(options);
    return options.printsScript ? printScript(options) : serveGadget(options);
}

} // namespace

void addGadgetCommand(CLI::App& program, int& exitCode) {
    const auto options = std::make_shared<GadgetOptions>();
    CLI::App* command = program.add_subcommand(
        "gadget", "Be a terminal for the host at the other end of this board's USB cable (OTG port)");
    addTerminalOptions(*command, options->terminal);
    CLI::Option* controller = command->add_option(
        "--udc", options->controller, "The USB device controller (the first one that nothing uses)");
    CLI::Option* script = command->add_flag(
        "--script", options->printsScript,
        "Print the shell script that sets the board up for it, instead of running it and serving");
    command
        ->add_option("--node", options->node,
                     "Serve the node of a board that the script has set up, /dev/hidg0 for example")
        ->excludes(controller)
        ->excludes(script);
    command->add_flag("--remove", options->removes, "Print the script that takes it away again")
        ->needs(script);
    command->footer(
        magicHelp() +
        "\n\nNeeds root and a USB device controller, or the permission for a node; it says which command\n"
        "helps. Prints a line for each terminal, and then one that begins with \"# ready\". SIGINT,\n"
        "SIGTERM or the end of the parent process ends it, and takes the device away. \"pdasim ctl\" needs\n"
        "--control SOCKET on both sides.\n\n"
        "Exit code: 0; 70 when a host broke the protocol; 64 bad usage; 65 a bad scenario;\n"
        "71 something is missing for the device; 73 a file or socket cannot be made.");
    command->final_callback(
        [options, &exitCode] { exitCode = reportingFailures([&options] { return gadget(*options); }); });
}

} // namespace pdasim
