#pragma once

#include "Fuzz.h"
#include "VirtualNode.h"

#include <filesystem>
#include <fstream>
#include <string>

namespace fuzz {

/// Where the library believes to lie: it finds its ini there, and writes its log. What it prints goes
/// nowhere.
class LibraryDirectory {
public:
    LibraryDirectory() {
        require(::mkdtemp(m_path.data()) != nullptr, "there is a directory for the ini");
        require(std::freopen("/dev/null", "w", stdout) != nullptr, "there is /dev/null");
        pdalink::test::setLibraryFile(m_path + "/libpdalink.so.1");
    }
    ~LibraryDirectory() { std::filesystem::remove_all(m_path); }
    LibraryDirectory(const LibraryDirectory&) = delete;
    LibraryDirectory& operator=(const LibraryDirectory&) = delete;

    std::string ini() const { return m_path + "/PDAConfigure.ini"; }
    void writeIni(const std::string& text) const { std::ofstream(ini(), std::ios::binary) << text; }

private:
    std::string m_path =
        std::string(std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : "/tmp") + "/pdalink-fuzz-XXXXXX";
};

inline const LibraryDirectory& libraryDirectory() {
    static const LibraryDirectory only;
    return only;
}

} // namespace fuzz
