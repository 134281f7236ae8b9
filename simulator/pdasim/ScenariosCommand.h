#pragma once

#include <CLI/CLI.hpp>

namespace pdasim {

/** Adds "scenarios" to the program; its exit code is left in `exitCode` once the arguments have been parsed.
 */
void addScenariosCommand(CLI::App& program, int& exitCode);

} // namespace pdasim
