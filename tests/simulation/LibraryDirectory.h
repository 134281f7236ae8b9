#pragma once

#include "VirtualNode.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

namespace pdalink::test {

/// Where the library believes to lie, in memory if possible: it finds its ini there, and writes its log.
class LibraryDirectory {
public:
    LibraryDirectory() {
        if (mkdtemp(m_path.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), m_path);
        }
        setLibraryFile(m_path + "/libpdalink.so.1");
        writeIni(VirtualNode::ini());
    }
    ~LibraryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    LibraryDirectory(const LibraryDirectory&) = delete;
    LibraryDirectory& operator=(const LibraryDirectory&) = delete;

    const std::string& path() const { return m_path; }
    std::string ini() const { return m_path + "/PDAConfigure.ini"; }
    void writeIni(const std::string& text) const { std::ofstream(ini(), std::ios::binary) << text; }

private:
    std::string m_path =
        std::string(std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : "/tmp") + "/pdalink-XXXXXX";
};

} // namespace pdalink::test
