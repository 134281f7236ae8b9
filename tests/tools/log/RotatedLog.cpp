#include "RotatedLog.h"

#include "PrivateDirectory.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

namespace pdactl::log::test {

RotatedLog::RotatedLog(const std::string& name)
    : m_directory(pdalink::test::scratchDirectory() + "/" + name), m_base(m_directory + "/PDA.log") {
    std::filesystem::create_directories(m_directory);
}

void RotatedLog::append(const std::string& bytes) const {
    std::ofstream file(m_base, std::ios::binary | std::ios::app);
    file << bytes;
}

void RotatedLog::rotate() const {
    (void)std::remove(copy(5).c_str());
    for (int number = 5; number >= 2; --number) {
        (void)std::rename(copy(number - 1).c_str(), copy(number).c_str());
    }
    (void)std::rename(m_base.c_str(), copy(1).c_str());
}

} // namespace pdactl::log::test
