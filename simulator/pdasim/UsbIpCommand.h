#pragma once

#include <CLI/CLI.hpp>

namespace pdasim {

/** Adds "usbip" to the program; its exit code is left in `exitCode` once the arguments have been parsed. */
void addUsbIpCommand(CLI::App& program, int& exitCode);

} // namespace pdasim
