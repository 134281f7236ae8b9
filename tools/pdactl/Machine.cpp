#include "Machine.h"

#include "Failure.h"
#include "Text.h"

#include <pdalink/util/Util.h>
#include <pdalink/util/cgetconfigval.h>

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <system_error>

namespace pdactl {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaxName = 255;
constexpr std::size_t kMaxRest = 254;
constexpr std::size_t kMaxValue = 15;

/// Takes the id of this key from a line. False for a line that is too long.
bool takeId(const std::string& line, const char* key, std::string& id) {
    const std::size_t equals = line.find('=');
    if (line.find(key) == std::string::npos || equals == std::string::npos) {
        return true;
    }
    std::string value(line.size() + 1, '\0');
    const bool isKey = CGetConfigVal().CompareAndGetVal(line, key, value.data());
    value.resize(value.find('\0'));
    if (equals > kMaxName || line.size() - equals - 1 > kMaxRest || value.size() > kMaxValue) {
        return false;
    }
    if (isKey) {
        QString cleaned = QString::fromStdString(value);
        CUtil::removeEndChar(cleaned);
        id = cleaned.toStdString();
    }
    return true;
}

bool isUsbId(const std::string& id) {
    return id.size() == 4 &&
           std::all_of(id.begin(), id.end(), [](unsigned char digit) { return std::isxdigit(digit) != 0; });
}

/// The value of a line "KEY=value" in a device's uevent file.
std::string ueventValue(const fs::path& device, const std::string& key) {
    std::ifstream file(device / "uevent");
    for (std::string line; std::getline(file, line);) {
        if (startsWith(line, key + "=")) {
            return line.substr(key.size() + 1);
        }
    }
    return {};
}

/// The first line of a file of the kernel's.
std::string attribute(const fs::path& directory, const char* name) {
    std::ifstream file(directory / name);
    std::string value;
    std::getline(file, value);
    return value;
}

/// The USB device above, or an empty path.
fs::path usbParent(const fs::path& device) {
    for (fs::path parent = device; parent.has_relative_path() && parent != "/sys";
         parent = parent.parent_path()) {
        if (ueventValue(parent, "DEVTYPE") == "usb_device") {
            return parent;
        }
    }
    return {};
}

HidNode describe(const fs::path& device) {
    HidNode node;
    node.node = "/dev/" + device.filename().string();
    std::error_code gone;
    const fs::path hid = fs::canonical(device / "device", gone);
    node.path = hid;
    node.name = ueventValue(hid, "HID_NAME");
    const fs::path usb = usbParent(device);
    node.usbPath = usb;
    if (!usb.empty()) {
        node.vendorId = attribute(usb, "idVendor");
        node.productId = attribute(usb, "idProduct");
    }
    return node;
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

/// Whether a node is not one of the kernel's, but that of a simulated device.
// Where devices are simulated, a link that leads nowhere any more is seen only below their own directory.
bool isSimulated(const std::string& node) {
    const char* const root = std::getenv("UMOCKDEV_DIR");
    std::error_code none;
    const fs::path target = fs::read_symlink((root != nullptr ? root : "") + node, none);
    return startsWith(target.native(), "/dev/pts/");
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

Finding closed(const std::string& text, const std::string& command) {
    return {"problem", "permissions", text, command};
}

Finding missingNode(const std::string& node) {
    if (isSimulated(node)) {
        return closed(node +
                          " is that of a simulated terminal, which has ended: start it again, and take the "
                          "settings that it prints",
                      "pdasim serve");
    }
    const std::string number = "/sys/class/hidraw/" + fs::path(node).filename().string() + "/dev";
    return closed(node +
                      " is not there, although the kernel has the device; a container gets it by docker run "
                      "--device=" +
                      node,
                  "sudo mknod -m 600 " + shellWord(node) + " c $(tr : ' ' < " + shellWord(number) + ")");
}

/// Nothing for a process of another user, into which this one cannot look.
std::optional<bool> hasOpen(const fs::path& process, const std::string& node) {
    struct stat wanted {};
    if (::stat(node.c_str(), &wanted) != 0) {
        return false;
    }
    std::error_code hidden;
    const fs::directory_iterator descriptors(process / "fd", hidden);
    if (hidden) {
        return hidden == std::errc::permission_denied ? std::nullopt : std::optional(false);
    }
    const std::vector<fs::path> files(begin(descriptors), end(descriptors));
    // Who has the other end of a pseudo-terminal is the device itself.
    const bool isDevice = isSimulated(node) && std::any_of(files.begin(), files.end(), hasOtherEnd);
    return !isDevice && std::any_of(files.begin(), files.end(),
                                    [&](const fs::path& file) { return isSameFile(file, wanted); });
}

} // namespace

IniFile readIni(const std::string& path) {
    IniFile ini;
    std::error_code unknown;
    if (!fs::is_regular_file(path, unknown)) {
        return ini; // a FIFO would be waited for
    }
    std::ifstream file(path);
    std::string first;
    std::string script;
    int number = 0;
    for (std::string line; std::getline(file, line);) {
        ++number;
        if (!takeId(line, "VID", ini.vendorId) || !takeId(line, "PID", ini.productId)) {
            first = script.empty() ? std::to_string(number) : first;
            script += (script.empty() ? "" : ";") + std::to_string(number) + "d";
        }
    }
    if (!script.empty()) {
        ini.danger = {"problem", "ini",
                      path + ", line " + first +
                          ": too long, the library makes every program that reads it exit",
                      "sudo sed -i " + shellWord(script) + " " + shellWord(path)};
    }
    return ini;
}

bool hasIds(const IniFile& ini) {
    return isUsbId(ini.vendorId) && isUsbId(ini.productId);
}

std::vector<HidNode> findHidNodes() {
    std::set<std::string> devices;
    std::error_code missing;
    for (const fs::directory_entry& entry : fs::directory_iterator("/sys/class/hidraw", missing)) {
        std::error_code gone;
        const fs::path device = fs::canonical(entry.path(), gone);
        if (!gone) {
            devices.insert(device);
        }
    }
    std::vector<HidNode> nodes;
    std::transform(devices.begin(), devices.end(), std::back_inserter(nodes), describe);
    return nodes;
}

std::string commandToUnbind(const HidNode& node) {
    const std::string hid = fs::path(node.path).filename();
    return "echo " + shellWord(hid) + " | sudo tee " + shellWord(node.path + "/driver/unbind");
}

std::vector<Finding> findOrphans() {
    std::vector<Finding> orphans;
    for (const HidNode& node : findHidNodes()) {
        if (node.usbPath.empty()) {
            orphans.push_back({"problem", "orphan",
                               node.node + " (" + (node.name.empty() ? "unnamed" : node.name) +
                                   ") belongs to no USB device, and the library makes every program that "
                                   "meets such a node exit",
                               commandToUnbind(node)});
        }
    }
    return orphans;
}

Finding missingMembership(const std::string& check, const std::string& refusal, gid_t group) {
    const struct group* const entry = ::getgrgid(group);
    const std::string name = entry != nullptr ? entry->gr_name : std::to_string(group);
    if (isListedIn(group)) {
        return {"problem", check,
                refusal + ": you are in group " + name +
                    " since you logged in; log in again, or begin a shell that knows",
                "newgrp " + shellWord(name)};
    }
    return {"problem", check,
            refusal + ": it is for group " + name + ", in which you are not; log in again afterwards",
            "sudo usermod -aG " + shellWord(name) + " \"$(id -un)\""};
}

Finding examinePermissions(const std::string& node) {
    if (::access(node.c_str(), R_OK | W_OK) == 0) {
        return {"ok", "permissions", "you may read and write " + node};
    }
    const std::string refusal = "you may not read and write " + node;
    struct stat status {};
    if (::stat(node.c_str(), &status) != 0) {
        return missingNode(node);
    }
    constexpr mode_t kNeeded = S_IRGRP | S_IWGRP;
    if (status.st_gid != 0 && (status.st_mode & kNeeded) == kNeeded) {
        return missingMembership("permissions", refusal, status.st_gid);
    }
    const std::string rule = "/etc/udev/rules.d/70-pdalink.rules";
    if (::access(rule.c_str(), F_OK) != 0) {
        return closed(refusal + ": no udev rule gives it to you; this writes it and lets udev read it",
                      "sudo groupadd -rf pdalink && pdactl udev-rule | sudo tee " + rule +
                          " && sudo udevadm control --reload && sudo udevadm trigger -s hidraw");
    }
    const std::string place = shellWord("/sys/class/hidraw/" + fs::path(node).filename().string());
    return closed(refusal + ": " + rule + " does not give it to you; this shows what udev makes of the node",
                  "udevadm test " + place + " 2>&1; udevadm info --attribute-walk " + place);
}

std::vector<Finding> examineUsers(const std::string& node) {
    std::vector<Finding> users;
    int hiddenProcesses = 0;
    std::error_code missing;
    for (const fs::directory_entry& process : fs::directory_iterator("/proc", missing)) {
        const std::string id = process.path().filename();
        if (id.find_first_not_of("0123456789") != std::string::npos || id == std::to_string(::getpid())) {
            continue;
        }
        const std::optional<bool> isUser = hasOpen(process.path(), node);
        hiddenProcesses += isUser ? 0 : 1;
        if (isUser.value_or(false)) {
            const std::string name = attribute(process.path(), "comm");
            users.push_back(
                {"problem", "users",
                 std::string("process ").append(id).append(" (").append(name).append(") has ").append(node) +
                     " open, and each of you takes the other's replies. It may be the host that "
                     "is in use: see who runs it, and end it in the way in which it was started",
                 "ps -fp " + id});
        }
    }
    if (users.empty() && hiddenProcesses > 0) {
        return {{"warning", "users",
                 "no process seen that has " + node + " open, but " + std::to_string(hiddenProcesses) +
                     " of other users could not be looked into",
                 "sudo pdactl doctor"}};
    }
    if (users.empty()) {
        return {{"ok", "users", "no other process has " + node + " open"}};
    }
    return users;
}

void requireSafety(const std::string& ini) {
    std::vector<Finding> dangers = findOrphans();
    if (const std::optional<Finding> danger = readIni(ini).danger) {
        dangers.insert(dangers.begin(), *danger);
    }
    if (!dangers.empty()) {
        throw Failure(LocalFailure,
                      dangers.front().text + ". Correct that, or run:\n  " + dangers.front().command);
    }
}

} // namespace pdactl
