#include "doctor/NodeAccess.h"

#include "Text.h"

#include <grp.h>
#include <pwd.h>
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

/// Whether a node is not one of the kernel's, but that of a simulated device.
// Where devices are simulated, a link that leads nowhere any more is seen only below their own directory.
bool isSimulated(const std::string& node) {
    constexpr std::string_view kPseudoTerminals = "/dev/pts/";
    const char* const root = std::getenv("UMOCKDEV_DIR");
    const std::string path = (root != nullptr ? root : "") + node;
    std::array<char, 64> target{};
    const ssize_t length = ::readlink(path.c_str(), target.data(), target.size());
    return length > 0 && std::string_view(target.data(), static_cast<std::size_t>(length))
                                 .substr(0, kPseudoTerminals.size()) == kPseudoTerminals;
}

/// Whether the user database has this user in a group, of which a running session may not know yet.
bool isListedIn(gid_t group) {
    constexpr int kMaxGroups = 1024;
    const passwd* const user = ::getpwuid(::getuid());
    if (user == nullptr) {
        return false;
    }
    std::vector<gid_t> groups(kMaxGroups);
    int count = kMaxGroups;
    (void)::getgrouplist(user->pw_name, user->pw_gid, groups.data(), &count);
    groups.resize(static_cast<std::size_t>(std::clamp(count, 0, kMaxGroups)));
    return std::find(groups.begin(), groups.end(), group) != groups.end();
}

Obstacle missingNode(const std::string& node) {
    if (isSimulated(node)) {
        return {node + " is that of a simulated terminal, which has ended: start it again, and take the "
                       "settings that it prints",
                "pdasim serve"};
    }
    const std::string number = "/sys/class/hidraw/" + fs::path(node).filename().string() + "/dev";
    return {node +
                " is not there, although the kernel has the device; a container gets it by docker run "
                "--device=" +
                node,
            "sudo mknod -m 600 " + shellWord(node) + " c $(tr : ' ' < " + shellWord(number) + ")"};
}

/// The node is its group's.
Obstacle missingMembership(const std::string& refusal, gid_t group) {
    const struct group* const entry = ::getgrgid(group);
    const std::string name = entry != nullptr ? entry->gr_name : std::to_string(group);
    if (isListedIn(group)) {
        return {refusal + ": you are in group " + name +
                    " since you logged in; log in again, or begin a shell that knows",
                "newgrp " + shellWord(name)};
    }
    return {refusal + ": it is for group " + name + ", in which you are not; log in again afterwards",
            "sudo usermod -aG " + shellWord(name) + " \"$(id -un)\""};
}

} // namespace

Obstacle findObstacle(const std::string& node) {
    const std::string refusal = "you may not read and write " + node;
    struct stat status {};
    if (::stat(node.c_str(), &status) != 0) {
        return missingNode(node);
    }
    constexpr mode_t kNeeded = S_IRGRP | S_IWGRP;
    if (status.st_gid != 0 && (status.st_mode & kNeeded) == kNeeded) {
        return missingMembership(refusal, status.st_gid);
    }
    const std::string place = "/sys/class/hidraw/" + fs::path(node).filename().string();
    return {refusal + ": no udev rule gives it to you. The package's 70-pdalink.rules does, with the ids of "
                      "your ini in /etc/udev/rules.d; this shows what udev makes of the node",
            "udevadm test " + shellWord(place) + " 2>&1; udevadm info --attribute-walk " + shellWord(place)};
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
