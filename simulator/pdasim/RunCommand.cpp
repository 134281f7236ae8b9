#include "pdasim/RunCommand.h"

#include "SimulatedTerminal.h"
#include "pdasim/ActingUser.h"
#include "pdasim/ChildProcess.h"
#include "pdasim/ExitCode.h"
#include "pdasim/SampleState.h"
#include "pdasim/Trace.h"
#include "pdasim/UsbIds.h"

#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace pdasim {

namespace {

struct RunOptions {
    std::string vendorId;
    std::string productId;
    std::string iniPath;
    std::string tracePath;
    bool hasUser = false;
    std::vector<std::string> command;
};

UsbIds chosenIds(const RunOptions& options) {
    if (!options.iniPath.empty()) {
        std::ifstream ini(options.iniPath);
        if (!ini) {
            throw std::invalid_argument("--ini: cannot read " + options.iniPath);
        }
        try {
            return readIds(ini);
        } catch (const std::invalid_argument& reason) {
            throw std::invalid_argument("--ini: " + options.iniPath + ": " + reason.what());
        }
    }
    UsbIds ids;
    if (!options.vendorId.empty()) {
        ids.vendor = normaliseId(options.vendorId);
    }
    if (!options.productId.empty()) {
        ids.product = normaliseId(options.productId);
    }
    return ids;
}

int runWithTerminal(const RunOptions& options, const UsbIds& ids, Trace* trace) {
    SimulatedTerminal::Options terminalOptions;
    terminalOptions.device.vendorId = ids.vendor;
    terminalOptions.device.productId = ids.product;
    if (trace != nullptr) {
        terminalOptions.onTraffic = [trace](SimulatedTerminal::Direction direction, const std::string& text) {
            trace->write(direction, text);
        };
    }
    const HeldSignals signals;
    SimulatedTerminal terminal(terminalOptions);
    terminal.changeState(fillWithSamples);
    std::optional<ActingUser> user;
    if (options.hasUser) {
        user.emplace(terminal);
    }
    const int code = runCommand(options.command, terminal.testBed().environment(), signals);
    const std::vector<std::string> violations = terminal.violations();
    for (const std::string& violation : violations) {
        std::cerr << "pdasim: protocol violated: " << violation << "\n";
    }
    std::cerr.flush();
    return code == 0 && !violations.empty() ? static_cast<int>(ProtocolViolated) : code;
}

int run(const RunOptions& options) {
    try {
        const UsbIds ids = chosenIds(options);
        std::optional<Trace> trace;
        if (!options.tracePath.empty()) {
            trace.emplace(options.tracePath);
        }
        return runWithTerminal(options, ids, trace ? &*trace : nullptr);
    } catch (const std::invalid_argument& mistake) {
        std::cerr << "pdasim: " << mistake.what() << std::endl;
        return BadUsage;
    } catch (const std::system_error& failure) {
        std::cerr << "pdasim: " << failure.what() << std::endl;
        return CannotCreateFile;
    } catch (const std::exception& failure) {
        std::cerr << "pdasim: " << failure.what() << std::endl;
        return CannotSimulate;
    }
}

} // namespace

void addRunCommand(CLI::App& program, int& exitCode) {
    const auto options = std::make_shared<RunOptions>();
    CLI::App* command =
        program.add_subcommand("run", "Run a command that finds a simulated terminal among its devices:\n"
                                      "pdasim run [OPTIONS] -- COMMAND [ARGUMENTS...]");
    CLI::Option* vendor =
        command->add_option("--vid", options->vendorId, "The terminal's USB vendor id (1209)");
    CLI::Option* product =
        command->add_option("--pid", options->productId, "The terminal's USB product id (0001)");
    command->add_option("--ini", options->iniPath, "Take both ids from a PDAConfigure.ini")
        ->excludes(vendor)
        ->excludes(product);
    command->add_flag(
        "--user", options->hasUser,
        "Let somebody work at the terminal: scan labels, finish an inventory, log in, hand over");
    command->add_option("--trace", options->tracePath,
                        "Write every message to a file, \"-\" for standard error");
    command->add_option("command", options->command, "The command and its arguments, behind \"--\"")
        ->required();
    command->footer(
        "Exit code: the command's own, 128 and the number of the signal that ended it;\n"
        "70 when the command succeeded but broke the protocol; 64 bad usage; 71 the device\n"
        "cannot be simulated; 73 the trace cannot be written; 126, 127 the command cannot be run.");
    command->final_callback([options, &exitCode] { exitCode = run(*options); });
}

} // namespace pdasim
