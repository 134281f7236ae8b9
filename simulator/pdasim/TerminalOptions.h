#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace pdasim {

/// The ids under which the terminal is found, as sysfs shows them: four hexadecimal digits in lower case.
struct UsbIds {
    std::string vendor = "1209";
    std::string product = "0001";
};

constexpr unsigned kMaxTerminals = 9;

/// What the user can choose about the simulated terminals, whatever runs beside them.
struct TerminalOptions {
    std::string vendorId;
    std::string productId;
    std::string iniPath;
    std::string tracePath;
    std::string scenario;
    std::string controlPath;
    unsigned terminals = 1;
    bool hasUser = false;
    bool withoutMagic = false;
};

void addTerminalOptions(CLI::App& command, TerminalOptions& options);

/// The ids of the first terminal; throws std::invalid_argument for bad ones.
UsbIds chosenIds(const TerminalOptions& options);

/// The part of the help that lists the magic values.
std::string magicHelp();

} // namespace pdasim
