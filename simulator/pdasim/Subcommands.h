#pragma once

#include <CLI/CLI.hpp>

namespace pdasim {

// Each adds a subcommand to the program; its exit code is left in `exitCode` once the arguments have been
// parsed.

void addRunCommand(CLI::App& program, int& exitCode);
void addServeCommand(CLI::App& program, int& exitCode);
void addUsbIpCommand(CLI::App& program, int& exitCode);
void addGadgetCommand(CLI::App& program, int& exitCode);
void addCtlCommand(CLI::App& program, int& exitCode);
void addScenariosCommand(CLI::App& program, int& exitCode);

} // namespace pdasim
