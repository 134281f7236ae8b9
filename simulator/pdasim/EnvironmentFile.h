#pragma once

#include <map>
#include <string>

namespace pdasim {

/// Those of the variables that every program needs, as a shell reads them.
std::string shellSettings(const std::map<std::string, std::string>& environment);

/// A file with such settings that is there, whole, as long as the object lives.
class EnvironmentFile {
public:
    /// Throws AdvisedError when the file cannot be written, or when there is one that holds anything but the
    /// settings of an earlier process.
    EnvironmentFile(std::string path, const std::string& text);
    EnvironmentFile(const EnvironmentFile&) = delete;
    EnvironmentFile& operator=(const EnvironmentFile&) = delete;
    ~EnvironmentFile();

private:
    std::string m_path;
    std::string m_text;
};

} // namespace pdasim
