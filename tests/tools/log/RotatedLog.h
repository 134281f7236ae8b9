#pragma once

#include <string>

namespace pdactl::log::test {

/// A log in a directory of its own that a test writes and rotates as the library does.
class RotatedLog {
public:
    explicit RotatedLog(const std::string& name);

    const std::string& base() const { return m_base; }
    const std::string& directory() const { return m_directory; }
    std::string copy(int number) const { return m_base + "." + std::to_string(number); }

    void append(const std::string& bytes) const;
    void rotate() const;

private:
    std::string m_directory;
    std::string m_base;
};

} // namespace pdactl::log::test
