#pragma once

#include "PrivateDirectory.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

namespace pdactl::log::test {

/// A log in a directory of its own that a test writes and rotates as the library does.
class RotatedLog {
public:
    explicit RotatedLog(const std::string& name)
        : m_directory(pdalink::test::scratchDirectory() + "/" + name), m_base(m_directory + "/PDA.log") {
        std::filesystem::create_directories(m_directory);
    }

    const std::string& base() const { return m_base; }
    const std::string& directory() const { return m_directory; }
    std::string copy(int number) const { return m_base + "." + std::to_string(number); }

    void append(const std::string& bytes) const {
        std::ofstream(m_base, std::ios::binary | std::ios::app) << bytes;
    }

    void rotate() const {
        for (int number = 5; number >= 1; --number) {
            (void)std::rename((number == 1 ? m_base : copy(number - 1)).c_str(), copy(number).c_str());
        }
    }

private:
    std::string m_directory;
    std::string m_base;
};

} // namespace pdactl::log::test
