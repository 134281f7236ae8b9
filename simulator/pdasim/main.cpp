#include "pdasim/ExitCode.h"
#include "pdasim/RunCommand.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <iostream>

int main(int argc, char** argv) {
    try {
        CLI::App program("A simulated handheld terminal for programs that talk to one over USB HID.",
                         "pdasim");
        int exitCode = 0;
        pdasim::addRunCommand(program, exitCode);
        program.require_subcommand(1);
        try {
            program.parse(argc, argv);
        } catch (const CLI::ParseError& mistake) {
            return program.exit(mistake) == 0 ? 0 : static_cast<int>(pdasim::BadUsage);
        }
        return exitCode;
    } catch (const std::exception& failure) {
        std::cerr << "pdasim: " << failure.what() << std::endl;
        return pdasim::CannotSimulate;
    }
}
