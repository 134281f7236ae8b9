#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

/// A directory of one's own, removed at its end.
class TemporaryDirectory {
public:
    explicit TemporaryDirectory(const std::string& parent = std::filesystem::temp_directory_path())
        : m_path(parent + "/pdalink-XXXXXX") {
        if (mkdtemp(m_path.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), m_path);
        }
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};
