#include "pdasim/Subcommands.h"

#include "ServingLoop.h"
#include "System.h"
#include "gadget/Gadget.h"
#include "gadget/GadgetPort.h"
#include "pdasim/ChildProcess.h"
#include "pdasim/Reporting.h"
#include "pdasim/Session.h"
#include "pdasim/TerminalOptions.h"
#include "usbip/TcpBus.h"
#include "usbip/UsbIpPort.h"
#include "usbip/VhciBus.h"

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

namespace pdasim {

namespace {

using namespace std::chrono_literals;

/// Serves a device of a kernel's until this process, or its parent, is asked to end.
int serveDevice(const std::function<int(const HeldSignals&)>& serve) {
    const HeldSignals signals;
    if (!endWithParent()) {
        return 0;
    }
    // A test bed that this process might have been started in would hide the real devices.
    (void)::unsetenv("UMOCKDEV_DIR");
    return serve(signals);
}

/// Longer than any kernel takes to make a device's node.
constexpr auto kNodeLimit = 10s;

constexpr unsigned kMaxPort = 65535;

struct UsbIpOptions {
    TerminalOptions terminal;
    /// Whether to offer the terminals over TCP instead of attaching them here, and on which port.
    bool listens = false;
    std::uint16_t port = usbip::TcpBus::kStandardPort;
};

Session::MakeTerminal terminalsOn(ServingLoop& loop, usbip::Bus& bus) {
    return [&loop, &bus](std::size_t place, const SimulatedTerminal::Options& settings) {
        usbip::OfferedDevice device;
        device.description = settings.device;
        device.busId = "1-" + std::to_string(place + 1);
        // The root hub is number 1.
        device.deviceNumber = static_cast<std::uint32_t>(place) + 2;
        return std::make_unique<SimulatedTerminal>(
            std::make_unique<usbip::UsbIpPort>(loop, bus, device, settings.reportSize), settings);
    };
}

int listen(const UsbIpOptions& options, const HeldSignals& signals) {
    ServingLoop loop;
    usbip::TcpBus bus(loop, options.port);
    const Session session(options.terminal, terminalsOn(loop, bus));
    const std::string port = std::to_string(bus.port());
    return serveUntilSignalled(
        session, "\"sudo usbip --tcp-port " + port + " attach -r 127.0.0.1 -b 1-1\" attaches terminal 1",
        signals);
}

int attach(const UsbIpOptions& options, const HeldSignals& signals) {
    ServingLoop loop;
    usbip::VhciBus bus(loop, usbip::Vhci(sysFolder()));
    const Session session(options.terminal, terminalsOn(loop, bus));
    if (!bus.waitForNodes(kNodeLimit)) {
        std::cerr << "pdasim: the kernel has made no hidraw node yet; is its module usbhid there? This loads "
                     "it: sudo modprobe usbhid"
                  << std::endl;
    }
    return serveUntilSignalled(session, "every program on this machine finds the terminal", signals);
}

int usbIp(const UsbIpOptions& options) {
    return serveDevice([&options](const HeldSignals& signals) {
        return options.listens ? listen(options, signals) : attach(options, signals);
    });
}

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

int serveGadget(const GadgetOptions& options, const HeldSignals& signals) {
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
    if (options.printsScript) {
        return printScript(options);
    }
    return serveDevice([&options](const HeldSignals& signals) { return serveGadget(options, signals); });
}

} // namespace

void addUsbIpCommand(CLI::App& program, int& exitCode) {
    const auto options = std::make_shared<UsbIpOptions>();
    CLI::App* command = program.add_subcommand(
        "usbip", "Keep a simulated terminal up as a USB device of this machine's kernel");
    addTerminalOptions(*command, options->terminal);
    CLI::Option* listen =
        command
            ->add_option("--listen", options->port,
                         "Offer the terminal on a TCP port of the loopback (3240; 0 for any free one), for\n"
                         "\"usbip attach\", instead of attaching it")
            ->expected(0, 1)
            ->check(CLI::Range(0U, kMaxPort));
    command->footer(
        magicHelp() +
        "\n\nNeeds the kernel's module vhci_hcd and, without root, a permission; it says which command\n"
        "gives them. Prints a line for each terminal, and then one that begins with \"# ready\". SIGINT,\n"
        "SIGTERM or the end of the parent process ends it, and takes the device away. \"pdasim ctl\" needs\n"
        "--control SOCKET on both sides.\n\n"
        "Exit code: 0; 70 when a host broke the protocol; 64 bad usage; 65 a bad scenario;\n"
        "71 something is missing for the device; 73 a file, socket or TCP port cannot be had.");
    command->final_callback([options, listen, &exitCode] {
        options->listens = listen->count() > 0;
        if (options->listens && listen->results().front().empty()) {
            options->port = usbip::TcpBus::kStandardPort;
        }
        exitCode = reportingFailures([&options] { return usbIp(*options); });
    });
}

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
