#include "IniFile.h"

#include <algorithm>
#include <cctype>
#include <fstream>

namespace pdactl {

namespace {

constexpr std::size_t LongestValue = 15;
constexpr std::size_t LongestName = 255;
constexpr std::size_t LongestRest = 254;

/** Without blanks at either end, and with one in place of several. Tabs and line ends are no blanks. */
std::string squeeze(const std::string& text) {
    std::string squeezed;
    for (const char character : text) {
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
    if (equals > LongestName || line.size() - equals - 1 > LongestRest ||
        (isKey && value.size() > LongestValue)) {
        ini.fatalLines.push_back(number);
    } else if (isKey) {
        id = withoutPrefix(value);
    }
}

} // namespace

IniFile readIni(const std::string& path) {
    IniFile ini;
    std::ifstream file(path);
    ini.isThere = file.is_open();
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

} // namespace pdactl
