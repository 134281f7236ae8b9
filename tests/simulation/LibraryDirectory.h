#pragma once

#include "VirtualNode.h"
#include "tests/support/TemporaryDirectory.h"

#include <fstream>

namespace pdalink::test {

/// Where the library believes to lie, in memory if possible: it finds its ini there, and writes its log.
class LibraryDirectory : public TemporaryDirectory {
public:
    LibraryDirectory() : TemporaryDirectory(std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : "/tmp") {
        setLibraryFile(file("libpdalink.so.1"));
        writeIni(VirtualNode::ini());
    }

    std::string ini() const { return file("PDAConfigure.ini"); }
    void writeIni(const std::string& text) const { std::ofstream(ini(), std::ios::binary) << text; }
};

} // namespace pdalink::test
