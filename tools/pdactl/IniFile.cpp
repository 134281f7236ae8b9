#include "IniFile.h"

#include "Failure.h"
#include "Text.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace pdactl {

namespace {

constexpr std::size_t kMaxValue = 15;
constexpr std::size_t kMaxName = 255;
constexpr std::size_t kMaxRest = 254;

/// Up to a NUL, without blanks at either end, one in place of several. Tabs and line ends are not blanks.
std::string squeeze(const std::string& text) {
    std::string squeezed;
    for (const char character : text.substr(0, text.find('\0'))) {
        if (character != ' ' || (!squeezed.empty() && squeezed.back() != ' ')) {
            squeezed += character;
        }
    }
    if (!squeezed.empty() && squeezed.back() == ' ') {
        squeezed.pop_back();
    }
    return squeezed;
}

std::string withoutPrefix(std::string value) {
    for (const char* unwanted : {"0x", "\r", "\n"}) {
        for (std::size_t at = 0; (at = value.find(unwanted)) != std::string::npos;) {
            value.erase(at, std::char_traits<char>::length(unwanted));
        }
    }
    return value;
}

void takeLine(IniFile& ini, const std::string& line, int number, const char* key, std::string& id) {
    const std::size_t equals = line.find('=');
    if (line.find(key) == std::string::npos || equals == std::string::npos) {
        return;
    }
    const std::string value = squeeze(line.substr(equals + 1));
    const bool isKey = squeeze(line.substr(0, equals)) == key;
    if (equals > kMaxName || line.size() - equals - 1 > kMaxRest || (isKey && value.size() > kMaxValue)) {
        if (ini.fatalLines.empty() || ini.fatalLines.back() != number) {
            ini.fatalLines.push_back(number);
        }
    } else if (isKey) {
        id = withoutPrefix(value);
    }
}

} // namespace

IniFile readIni(const std::string& path) {
    IniFile ini;
    ini.path = path;
    ini.exists = ::access(path.c_str(), F_OK) == 0;
    ini.isReadable = ::access(path.c_str(), R_OK) == 0;
    std::error_code unknown;
    ini.isDirectory = std::filesystem::is_directory(path, unknown);
    if (!std::filesystem::is_regular_file(path, unknown)) {
        return ini; // a FIFO would be waited for
    }
    std::ifstream file(path);
    int number = 0;
    for (std::string line; std::getline(file, line);) {
        ++number;
        takeLine(ini, line, number, "VID", ini.vendorId);
        takeLine(ini, line, number, "PID", ini.productId);
    }
    return ini;
}

bool isUsbId(const std::string& id) {
    return id.size() == 4 &&
           std::all_of(id.begin(), id.end(), [](unsigned char digit) { return std::isxdigit(digit) != 0; });
}

std::string describeFatalLines(const IniFile& ini) {
    return ini.path + ", line " + std::to_string(ini.fatalLines.front()) +
           ": too long, the library makes every program that reads it exit";
}

std::string commandToDeleteFatalLines(const IniFile& ini) {
    std::string script;
    for (const int line : ini.fatalLines) {
        script += (script.empty() ? "" : ";") + std::to_string(line) + "d";
    }
    return "sudo sed -i " + shellWord(script) + " " + shellWord(ini.path);
}

void requireHarmlessIni(const std::string& path) {
    const IniFile ini = readIni(path);
    if (!ini.fatalLines.empty()) {
        throw Failure(LocalFailure, describeFatalLines(ini) + ". Correct the line, or take it out:\n  " +
                                        commandToDeleteFatalLines(ini));
    }
}

} // namespace pdactl
