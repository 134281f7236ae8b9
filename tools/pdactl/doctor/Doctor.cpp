#include "doctor/Doctor.h"

#include "Host.h"
#include "Text.h"
#include "doctor/NodeAccess.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

namespace pdactl {

namespace {

namespace fs = std::filesystem;

bool isWritable(const std::string& path) {
    return ::access(path.c_str(), W_OK) == 0;
}

bool exists(const std::string& path) {
    return ::access(path.c_str(), F_OK) == 0;
}

/// A link that leads nowhere counts too.
bool isTaken(const std::string& path) {
    std::error_code unknown;
    return fs::exists(fs::symlink_status(path, unknown));
}

bool isDirectory(const std::string& path) {
    std::error_code unknown;
    return fs::is_directory(path, unknown);
}

/// Meant for several users, of whom each has a log of their own.
bool isShared(const std::string& directory) {
    struct stat status {};
    return ::stat(directory.c_str(), &status) == 0 && (status.st_mode & S_IWGRP) != 0;
}

std::string ownership() {
    return "\"$(id -un)\"";
}

std::string commandToMoveAway(const std::string& path) {
    return "sudo mv " + shellWord(path) + " " + shellWord(path + ".old");
}

/// What follows ".so." in the name of the file itself.
std::string versionOf(const fs::path& library) {
    const std::string name = library.filename();
    const std::size_t at = name.find(".so.");
    return at == std::string::npos ? "unknown" : name.substr(at + 4);
}

} // namespace

const char* nameOf(Health health) {
    switch (health) {
    case Health::Ok:
        return "ok";
    case Health::Warning:
        return "warning";
    default:
        return "problem";
    }
}

std::vector<Finding> Doctor::examine() {
    checkLibrary();
    checkIni();
    checkLog();
    checkOrphans();
    if (knowsIds()) {
        checkNode();
    }
    return std::exchange(m_findings, {});
}

bool Doctor::knowsIds() const {
    return isUsbId(m_ini.vendorId) && isUsbId(m_ini.productId);
}

void Doctor::checkLibrary() {
    std::error_code error;
    const fs::path file = fs::canonical(libraryFile(), error);
    const std::string path = error ? libraryFile() : file.string();
    ok("library", path + ", version " + versionOf(path));
}

void Doctor::checkIni() {
    const std::string path = iniFile();
    m_ini = readIni(path);
    if (!m_ini.exists) {
        problem("ini",
                path +
                    " is not there: the library finds no terminal. The ids of the sample follow; lsusb shows "
                    "yours",
                "printf 'VID=0x1209\\nPID=0x0001\\n' | sudo tee " + shellWord(path));
    } else if (m_ini.isDirectory) {
        problem("ini", path + " is a folder: the library finds no terminal", commandToMoveAway(path));
    } else if (!m_ini.isReadable) {
        problem("ini", path + " is there, but you may not read it: the library finds no terminal",
                "sudo chmod a+r " + shellWord(path));
    } else if (!m_ini.fatalLines.empty()) {
        m_isSafe = false;
        problem("ini", describeFatalLines(m_ini), commandToDeleteFatalLines(m_ini));
    } else if (!knowsIds()) {
        problem("ini",
                path + ": VID \"" + m_ini.vendorId + "\" and PID \"" + m_ini.productId +
                    "\" have to be four hexadecimal digits each; lsusb shows them",
                "sudo ${EDITOR:-vi} " + shellWord(path));
    } else {
        ok("ini", path + " says " + m_ini.vendorId + ":" + m_ini.productId);
    }
}

void Doctor::checkLog() {
    const std::string directory = logDirectory();
    const std::string command = "sudo install -d -m 750 -o " + ownership() + " " + shellWord(directory);
    if (isDirectory(directory)) {
        if (::access(directory.c_str(), W_OK | X_OK) == 0) {
            checkLogFile(directory);
        } else {
            problem("log", directory + " cannot be written: nothing is logged", command);
        }
    } else if (isTaken(directory)) {
        problem("log", directory + " is not a folder and does not lead to one: nothing is logged",
                commandToMoveAway(directory));
    } else if (isWritable(libraryDirectory())) {
        ok("log", directory + " can be made");
    } else {
        problem("log", directory + " is not there, and you may not make it: nothing is logged", command);
    }
}

void Doctor::checkLogFile(const std::string& directory) {
    const std::string file = directory + "/PDA.log";
    if (isDirectory(file)) {
        warn("log", file + " is a folder: the library writes PDA_T1.log and so on instead",
             commandToMoveAway(file));
    } else if (exists(file) && !isWritable(file) && isShared(directory)) {
        ok("log", file + " is another user's; beside it the library writes PDA_T1.log and so on for you");
    } else if (exists(file) && !isWritable(file)) {
        warn("log", file + " cannot be written: the library writes PDA_T1.log and so on instead",
             "sudo chown " + ownership() + " " + shellWord(file));
    } else {
        ok("log", file + " can be written");
    }
}

void Doctor::checkOrphans() {
    const std::vector<HidNode> orphans = findOrphanNodes();
    for (const HidNode& orphan : orphans) {
        m_isSafe = false;
        problem("orphan", describeOrphan(orphan), commandToUnbind(orphan));
    }
    if (orphans.empty()) {
        ok("orphan", "every hidraw node belongs to a USB device");
    }
}

void Doctor::checkNode() {
    std::vector<HidNode> nodes = findHidNodes();
    nodes.erase(std::remove_if(
                    nodes.begin(), nodes.end(),
                    [this](const HidNode& node) { return !hasIds(node, m_ini.vendorId, m_ini.productId); }),
                nodes.end());
    const std::string ids = m_ini.vendorId + ":" + m_ini.productId;
    if (nodes.empty()) {
        problem("node",
                "no hidraw node of a USB device " + ids + ": plug the terminal in, or correct the ini",
                "lsusb");
        return;
    }
    m_node = nodes.back().node;
    if (nodes.size() > 1) {
        warnOfSeveral(nodes);
    } else {
        ok("node", m_node + " belongs to USB device " + ids);
    }
    checkPermissions();
    checkUsers();
}

/// The library takes the last one, whatever it is.
void Doctor::warnOfSeveral(const std::vector<HidNode>& nodes) {
    const HidNode& used = nodes.back();
    const std::string ids = m_ini.vendorId + ":" + m_ini.productId;
    const std::string count = std::to_string(nodes.size());
    const bool isOneDevice = std::all_of(nodes.begin(), nodes.end(),
                                         [&](const HidNode& node) { return node.usbPath == used.usbPath; });
    if (isOneDevice) {
        warn("node",
             "the USB device " + ids + " has " + count + " HID interfaces; the node of the last one, " +
                 used.node +
                 ", is used. If the terminal does not answer there, take this node away, so that "
                 "the one before it is used",
             commandToUnbind(used));
    } else {
        warn("node",
             count + " nodes belong to USB devices " + ids + "; the last one, " + used.node +
                 ", is used. Unplug the others if that is the wrong one",
             "udevadm info " + shellWord(used.node));
    }
}

void Doctor::checkPermissions() {
    if (::access(m_node.c_str(), R_OK | W_OK) == 0) {
        m_isUsable = true;
        ok("permissions", "you may read and write " + m_node);
    } else {
        const Obstacle obstacle = findObstacle(m_node);
        problem("permissions", obstacle.text, obstacle.command);
    }
}

void Doctor::checkUsers() {
    const NodeUsers found = findUsersOf(m_node);
    for (const NodeUser& user : found.users) {
        problem(
            "users",
            "process " + std::to_string(user.processId) + " (" + user.name + ") has " + m_node +
                " open, and each of you takes the other's replies. It may be the host that is in use: see "
                "who runs it, and end it in the way in which it was started",
            "ps -fp " + std::to_string(user.processId));
    }
    if (found.users.empty() && found.hiddenProcesses > 0) {
        warn("users",
             "no process seen that has " + m_node + " open, but " + std::to_string(found.hiddenProcesses) +
                 " of other users could not be looked into",
             "sudo pdactl doctor");
    } else if (found.users.empty()) {
        ok("users", "no other process has " + m_node + " open");
    }
}

void Doctor::ok(const std::string& check, const std::string& text) {
    m_findings.push_back({Health::Ok, check, text, ""});
}

void Doctor::warn(const std::string& check, const std::string& text, const std::string& command) {
    m_findings.push_back({Health::Warning, check, text, command});
}

void Doctor::problem(const std::string& check, const std::string& text, const std::string& command) {
    m_findings.push_back({Health::Problem, check, text, command});
}

} // namespace pdactl
