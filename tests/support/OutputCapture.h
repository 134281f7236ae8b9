#pragma once

#include <string>
#include <vector>

namespace pdalink::test {

/// Keeps what the process writes to its standard output (file descriptor 1), as long as the object lives.
class StandardOutputCapture {
public:
    StandardOutputCapture();
    StandardOutputCapture(const StandardOutputCapture&) = delete;
    StandardOutputCapture& operator=(const StandardOutputCapture&) = delete;
    ~StandardOutputCapture();

    /// Everything written so far.
    std::string text() const;
    /// The same, line by line.
    std::vector<std::string> lines() const;

private:
    int m_original;
    int m_file;
};

/// Keeps what the process writes to the Qt debug output, as long as the object lives. One at a time.
class QtOutputCapture {
public:
    QtOutputCapture();
    QtOutputCapture(const QtOutputCapture&) = delete;
    QtOutputCapture& operator=(const QtOutputCapture&) = delete;
    ~QtOutputCapture();

    std::vector<std::string> lines() const;
};

} // namespace pdalink::test
