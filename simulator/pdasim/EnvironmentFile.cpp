#include "pdasim/EnvironmentFile.h"

#include "AdvisedError.h"
#include "ShellQuoting.h"
#include "node/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <utility>

namespace pdasim {

namespace {

constexpr std::array<const char*, 2> kVariables = {"LD_PRELOAD", "UMOCKDEV_DIR"};

std::string beginningOf(const char* variable) {
    return std::string("export ").append(variable).append("=");
}

/// The text of a plain file; nothing for anything else, links included.
std::optional<std::string> textOf(const std::string& path) {
    struct stat information {};
    if (::lstat(path.c_str(), &information) != 0 || !S_ISREG(information.st_mode)) {
        return std::nullopt;
    }
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

/// Whether the text is what shellSettings() makes: one line for each variable, and nothing else.
bool holdsSettings(const std::string& text) {
    std::istringstream lines(text);
    std::string line;
    for (const char* variable : kVariables) {
        const std::string beginning = beginningOf(variable);
        if (!std::getline(lines, line) || line.compare(0, beginning.size(), beginning) != 0) {
            return false;
        }
    }
    return !std::getline(lines, line);
}

/// An empty file, and what a killed process has left behind, may be replaced; everything else is not ours.
void refuseForeignFile(const std::string& path) {
    std::error_code unknown;
    const bool isThere = std::filesystem::exists(std::filesystem::symlink_status(path, unknown));
    const std::optional<std::string> text = textOf(path);
    if (isThere && !(text && (text->empty() || holdsSettings(*text)))) {
        throw AdvisedError(EEXIST, "cannot write the settings to " + path + ", which pdasim did not write",
                           "Give --env-file another path, or take that away first");
    }
}

} // namespace

std::string shellSettings(const std::map<std::string, std::string>& environment) {
    std::string text;
    for (const char* variable : kVariables) {
        text.append(beginningOf(variable)).append(quotedForShell(environment.at(variable))).append("\n");
    }
    return text;
}

EnvironmentFile::EnvironmentFile(std::string path, const std::string& text)
    : m_path(std::move(path)), m_text(text) {
    refuseForeignFile(m_path);
    std::string fresh = m_path + ".XXXXXX";
    FileDescriptor file(::mkostemp(fresh.data(), O_CLOEXEC));
    if (!file.isOpen() ||
        ::write(file.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size()) ||
        std::rename(fresh.c_str(), m_path.c_str()) != 0) {
        const int error = errno;
        if (file.isOpen()) {
            (void)::unlink(fresh.c_str());
        }
        throw AdvisedError(error, "cannot write the settings to " + m_path,
                           "Give --env-file a path in a folder that is there and that you may write to");
    }
}

EnvironmentFile::~EnvironmentFile() {
    // Another process may have put its own settings there meanwhile.
    if (textOf(m_path) == m_text) {
        (void)::unlink(m_path.c_str());
    }
}

} // namespace pdasim
