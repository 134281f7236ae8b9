#pragma once

#include <string>
#include <vector>

namespace pdactl {

/// What the library will make of a PDAConfigure.ini.
struct IniFile {
    std::string path;
    bool exists = false;
    bool isReadable = false; ///< by whoever asks
    bool isDirectory = false;
    std::string vendorId;
    std::string productId;
    /// Numbers of lines that are longer than the library accepts: it makes the process exit.
    std::vector<int> fatalLines;
};

IniFile readIni(const std::string& path);

/// Four hexadecimal digits, as /sys has them; no other text matches a device.
bool isUsbId(const std::string& id);

/// What is the matter with an ini that has fatal lines.
std::string describeFatalLines(const IniFile& ini);

/// The one command that takes the fatal lines out.
std::string commandToDeleteFatalLines(const IniFile& ini);

/// Throws a Failure that names the fatal lines of an ini, if there are any, and how to be rid of them.
void requireHarmlessIni(const std::string& path);

} // namespace pdactl
