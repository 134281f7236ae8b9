#pragma once

#include <string>

namespace pdactl {

/** The library's file, under the name by which it was loaded. */
std::string libraryFile();

/** Where the library looks for its PDAConfigure.ini and writes its log. */
std::string libraryDirectory();

std::string iniFile();
std::string logDirectory();

} // namespace pdactl
