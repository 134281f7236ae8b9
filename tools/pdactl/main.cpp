#include "Commands.h"
#include "Failure.h"
#include "Host.h"

#include <exception>
#include <iostream>

namespace {

constexpr const char* ExitCodes = "Exit codes:\n"
                                  "  0  done\n"
                                  "  1  something on this machine is in the way\n"
                                  "  2  the command line makes no sense\n"
                                  "  3  the library refused the request\n"
                                  "  4  the message could not be written to the terminal\n"
                                  "  5  the terminal gave no usable reply\n"
                                  "  6  the terminal refused\n"
                                  "  7  the library failed\n"
                                  "  8  a file did not arrive whole\n";

int run(int argc, char** argv) {
    CLI::App app("Drives a handheld terminal for valuables bags through the library pdalink.", "pdactl");
    pdactl::Program program{app};
    app.add_flag("--json", program.asJson, "print exactly one JSON document on standard output");
    app.add_flag("--verbose", program.verbose, "show the library's own lines on standard error");
    app.require_subcommand(1);
    app.fallthrough();
    app.footer(ExitCodes);
    pdactl::addCallCommand(program);
    pdactl::addTaskCommands(program);
    pdactl::addLockCommands(program);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& mistake) {
        return app.exit(mistake) == 0 ? pdactl::Success : pdactl::BadUsage;
    }
    return program.action();
}

} // namespace

int main(int argc, char** argv) {
    pdactl::silenceLibrary();
    try {
        return run(argc, argv);
    } catch (const pdactl::Failure& failure) {
        std::cerr << "pdactl: " << failure.what() << std::endl;
        return failure.exitCode();
    } catch (const std::exception& failure) {
        std::cerr << "pdactl: " << failure.what() << std::endl;
        return pdactl::LocalFailure;
    }
}
