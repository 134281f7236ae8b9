#pragma once

#include <string>
#include <vector>

namespace pdactl {

/** What the library will make of a PDAConfigure.ini. */
struct IniFile {
    bool isThere = false;
    std::string vendorId;
    std::string productId;
    /** Numbers of lines that are longer than the library can stand: it ends its process at them. */
    std::vector<int> fatalLines;
};

IniFile readIni(const std::string& path);

/** Four hexadecimal digits, as /sys has them; no other text matches a device. */
bool isUsbId(const std::string& id);

} // namespace pdactl
