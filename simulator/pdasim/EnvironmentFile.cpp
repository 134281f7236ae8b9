#include "pdasim/EnvironmentFile.h"

#include "ShellQuoting.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <system_error>
#include <utility>

namespace pdasim {

std::string shellSettings(const std::map<std::string, std::string>& environment) {
    std::string text;
    for (const char* name : {"LD_PRELOAD", "UMOCKDEV_DIR"}) {
        text.append("export ").append(name).append("=").append(quotedForShell(environment.at(name)));
        text.append("\n");
    }
    return text;
}

EnvironmentFile::EnvironmentFile(std::string path, const std::string& text) : m_path(std::move(path)) {
    const std::string fresh = m_path + ".new";
    std::ofstream file(fresh, std::ios::trunc);
    file << text;
    file.close();
    if (!file || std::rename(fresh.c_str(), m_path.c_str()) != 0) {
        const int error = errno;
        (void)::unlink(fresh.c_str());
        throw std::system_error(error, std::generic_category(), "cannot write the settings to " + m_path);
    }
}

EnvironmentFile::~EnvironmentFile() {
    (void)::unlink(m_path.c_str());
}

} // namespace pdasim
