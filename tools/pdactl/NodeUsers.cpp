#include "NodeUsers.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

namespace pdactl {

namespace {

namespace fs = std::filesystem;

bool isNumber(const std::string& text) {
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
}

bool isSameFile(const fs::path& path, const struct stat& wanted) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && status.st_dev == wanted.st_dev &&
           status.st_ino == wanted.st_ino;
}

bool hasOtherEnd(const fs::path& descriptor) {
    std::error_code gone;
    return fs::read_symlink(descriptor, gone).filename() == "ptmx";
}

std::string nameOf(const fs::path& process) {
    std::ifstream file(process / "comm");
    std::string name;
    std::getline(file, name);
    return name;
}

} // namespace

// Where devices are simulated, a link that leads nowhere any more is seen only below their own directory.
bool isSimulated(const std::string& node) {
    constexpr std::string_view PseudoTerminals = "/dev/pts/";
    const char* const root = std::getenv("UMOCKDEV_DIR");
    const std::string path = (root != nullptr ? root : "") + node;
    std::array<char, 64> target{};
    const ssize_t length = ::readlink(path.c_str(), target.data(), target.size());
    return length > 0 && std::string_view(target.data(), static_cast<std::size_t>(length))
                                 .substr(0, PseudoTerminals.size()) == PseudoTerminals;
}

NodeUsers findUsersOf(const std::string& node) {
    NodeUsers found;
    struct stat wanted {};
    if (::stat(node.c_str(), &wanted) != 0) {
        return found;
    }
    const bool isPseudoTerminal = isSimulated(node); // who has its other end is the device itself
    std::error_code missing;
    for (const fs::directory_entry& process : fs::directory_iterator("/proc", missing)) {
        const std::string id = process.path().filename();
        if (!isNumber(id) || id == std::to_string(::getpid())) {
            continue;
        }
        std::error_code hidden;
        const fs::directory_iterator descriptors(process.path() / "fd", hidden);
        found.hiddenProcesses += hidden == std::errc::permission_denied ? 1 : 0;
        if (hidden) {
            continue;
        }
        const std::vector<fs::path> files(begin(descriptors), end(descriptors));
        const bool isDevice = isPseudoTerminal && std::any_of(files.begin(), files.end(), hasOtherEnd);
        if (!isDevice && std::any_of(files.begin(), files.end(),
                                     [&](const fs::path& file) { return isSameFile(file, wanted); })) {
            found.users.push_back({std::stoi(id), nameOf(process.path())});
        }
    }
    return found;
}

} // namespace pdactl
