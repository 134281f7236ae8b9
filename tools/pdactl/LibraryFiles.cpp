#include "LibraryFiles.h"

#include <pdalink/util/LockConfig.h>

#include <dlfcn.h>

#include <filesystem>
#include <system_error>

namespace pdactl {

namespace fs = std::filesystem;

std::string libraryFile() {
    Dl_info info{};
    (void)::dladdr(reinterpret_cast<const void*>(&fun1), &info);
    return info.dli_fname != nullptr ? info.dli_fname : "";
}

std::string libraryDirectory() {
    const std::string library = libraryFile();
    if (library.rfind("./", 0) != 0) {
        return fs::path(library).parent_path();
    }
    // Loaded by such a name, the library takes the program's directory for its own.
    std::error_code unreadable;
    const fs::path program = fs::read_symlink("/proc/self/exe", unreadable);
    return (program.parent_path() / library.substr(2)).parent_path();
}

std::string iniFile() {
    return libraryDirectory() + "/PDAConfigure.ini";
}

std::string logDirectory() {
    return libraryDirectory() + "/log";
}

} // namespace pdactl
