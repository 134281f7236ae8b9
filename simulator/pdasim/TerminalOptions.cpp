#include "pdasim/TerminalOptions.h"

#include "scenario/Rules.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <optional>
#include <stdexcept>

namespace pdasim {

namespace {

constexpr std::size_t kIdDigits = 4;

/// Without leading and trailing spaces, each inner run of them being one.
std::string squeeze(const std::string& text) {
    std::string squeezed;
    for (const char character : text) {
        if (character != ' ' || (!squeezed.empty() && squeezed.back() != ' ')) {
            squeezed.push_back(character);
        }
    }
    if (!squeezed.empty() && squeezed.back() == ' ') {
        squeezed.pop_back();
    }
    return squeezed;
}

std::string withoutPrefix(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    if (text.compare(0, 2, "0x") == 0) {
        text.erase(0, 2);
    }
    return text;
}

/// Brings an id into the form of sysfs; throws std::invalid_argument for anything but up to four digits.
std::string normaliseId(const std::string& text) {
    std::string digits = withoutPrefix(text);
    const bool hexadecimal =
        std::all_of(digits.begin(), digits.end(), [](unsigned char c) { return std::isxdigit(c) != 0; });
    if (digits.empty() || digits.size() > kIdDigits || !hexadecimal) {
        throw std::invalid_argument("\"" + text +
                                    "\" is not a USB id: up to four hexadecimal digits, 0x or not");
    }
    std::transform(digits.begin(), digits.end(), digits.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return std::string(kIdDigits - digits.size(), '0') + digits;
}

std::string requireId(const std::optional<std::string>& value, const char* name) {
    if (!value) {
        throw std::invalid_argument(std::string("no line ") + name + "=...; add one, " + name +
                                    "=0x1209 for example, or give both ids with --vid and --pid");
    }
    return normaliseId(*value);
}

/// Reads the ids as the library does: the last line named exactly VID, and PID, counts; 0x and line ends are
/// dropped. Throws std::invalid_argument when one of them is missing or is no id.
UsbIds readIds(std::istream& ini) {
    std::optional<std::string> vendor;
    std::optional<std::string> product;
    for (std::string line; std::getline(ini, line);) {
        const std::size_t equals = line.find('=');
        if (equals == std::string::npos) {
            continue;
        }
        const std::string name = squeeze(line.substr(0, equals));
        const std::string value = squeeze(line.substr(equals + 1));
        if (name == "VID") {
            vendor = value;
        } else if (name == "PID") {
            product = value;
        }
    }
    return {requireId(vendor, "VID"), requireId(product, "PID")};
}

constexpr std::size_t kSuffixColumn = 14;

UsbIds idsFrom(const std::string& iniPath) {
    std::ifstream ini(iniPath);
    // A folder can be opened, but has no first byte.
    (void)ini.peek();
    if (ini.bad() || !ini.is_open()) {
        throw std::invalid_argument("--ini: cannot read " + iniPath + ": " + std::strerror(errno) +
                                    ". Give a file that you may read, or the ids with --vid and --pid");
    }
    try {
        return readIds(ini);
    } catch (const std::invalid_argument& reason) {
        throw std::invalid_argument("--ini: " + iniPath + ": " + reason.what());
    }
}

} // namespace

void addTerminalOptions(CLI::App& command, TerminalOptions& options) {
    CLI::Option* vendor =
        command.add_option("--vid", options.vendorId, "The terminal's USB vendor id (1209)");
    CLI::Option* product =
        command.add_option("--pid", options.productId, "The terminal's USB product id (0001)");
    command.add_option("--ini", options.iniPath, "Take both ids from a PDAConfigure.ini")
        ->excludes(vendor)
        ->excludes(product);
    command
        .add_option("--terminals", options.terminals,
                    "How many terminals (1); their product ids count up from the first one's")
        ->check(CLI::Range(1U, kMaxTerminals));
    command.add_option("--scenario", options.scenario,
                       "What the terminal is and does: a JSON file, or a name from \"pdasim scenarios\"");
    command.add_flag(
        "--user", options.hasUser,
        "Let somebody work at the terminal: scan labels, finish an inventory, log in, hand over");
    command.add_flag("--no-magic", options.withoutMagic, "Take magic values for ordinary ones");
    command.add_option("--trace", options.tracePath,
                       "Write every message to a file, \"-\" for standard error");
    command.add_option("--control", options.controlPath,
                       "Where \"pdasim ctl\" reaches the terminal: a socket's path (pdasim.sock in the\n"
                       "folder that UMOCKDEV_DIR names)");
}

UsbIds chosenIds(const TerminalOptions& options) {
    if (!options.iniPath.empty()) {
        return idsFrom(options.iniPath);
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

std::string magicHelp() {
    std::string text =
        "Magic values: without any scenario, a bag number, task id, lock id or file info with one\n"
        "of these endings makes the terminal misbehave with that request:\n";
    for (const MagicValue& magic : magicValues()) {
        std::string suffix = magic.suffix;
        suffix.resize(std::max(kSuffixColumn, suffix.size() + 1), ' ');
        text.append("  ").append(suffix).append(magic.effect).append("\n");
    }
    return text + "--no-magic switches them off.";
}

} // namespace pdasim
