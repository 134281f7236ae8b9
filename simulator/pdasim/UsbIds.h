#pragma once

#include <istream>
#include <string>

namespace pdasim {

/// The ids under which the terminal is found, as sysfs shows them: four hexadecimal digits in lower case.
struct UsbIds {
    std::string vendor = "1209";
    std::string product = "0001";
};

/// Brings an id into the form of sysfs; throws std::invalid_argument for anything but up to four digits.
std::string normaliseId(const std::string& text);

/// Reads the ids as the library does: the last line named exactly VID, and PID, counts; 0x and line ends are
/// dropped. Throws std::invalid_argument when one of them is missing or is no id.
UsbIds readIds(std::istream& ini);

} // namespace pdasim
