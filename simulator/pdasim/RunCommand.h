#pragma once

#include <CLI/CLI.hpp>

namespace pdasim {

/** Adds "run" to the program; its exit code is left in `exitCode` once the arguments have been parsed. */
void addRunCommand(CLI::App& program, int& exitCode);

} // namespace pdasim
