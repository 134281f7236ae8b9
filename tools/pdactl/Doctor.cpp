#include "Doctor.h"

#include "DeviceCheck.h"
#include "LibraryFiles.h"
#include "NodeUsers.h"
#include "UdevRules.h"

#include <unistd.h>

#include <filesystem>
#include <system_error>
#include <utility>

namespace pdactl {

namespace {

namespace fs = std::filesystem;

bool isWritable(const std::string& path) {
    return ::access(path.c_str(), W_OK) == 0;
}

bool isThere(const std::string& path) {
    return ::access(path.c_str(), F_OK) == 0;
}

std::string ownership() {
    return "\"$(id -un)\"";
}

/** What stands behind ".so." in the name of the file itself. */
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
        checkRules();
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
    const std::string mend = "sudo ${EDITOR:-vi} " + path;
    m_ini = readIni(path);
    if (!m_ini.isThere) {
        problem("ini",
                path +
                    " is not there or cannot be read: the library finds no terminal. The ids of the sample "
                    "follow; lsusb shows yours",
                "printf 'VID=0x1209\\nPID=0x0001\\n' | sudo tee " + path);
    } else if (!m_ini.fatalLines.empty()) {
        m_isSafe = false;
        problem("ini",
                path + ", line " + std::to_string(m_ini.fatalLines.front()) +
                    ": too long, the library ends every program that reads it",
                "sudo sed -i " + std::to_string(m_ini.fatalLines.front()) + "d " + path);
    } else if (!knowsIds()) {
        problem("ini",
                path + ": VID \"" + m_ini.vendorId + "\" and PID \"" + m_ini.productId +
                    "\" have to be four hexadecimal digits each; lsusb shows them",
                mend);
    } else {
        ok("ini", path + " says " + m_ini.vendorId + ":" + m_ini.productId);
    }
}

void Doctor::checkLog() {
    const std::string directory = logDirectory();
    const std::string file = directory + "/PDA.log";
    const std::string mend = "sudo install -d -m 750 -o " + ownership() + " " + directory;
    if (!isThere(directory)) {
        if (isWritable(libraryDirectory())) {
            ok("log", directory + " can be made");
        } else {
            problem("log", directory + " is not there, and you may not make it: nothing is logged", mend);
        }
    } else if (!isWritable(directory) || !fs::is_directory(directory)) {
        problem("log", directory + " cannot be written: nothing is logged", mend);
    } else if (isThere(file) && (!isWritable(file) || fs::is_directory(file))) {
        warn("log", file + " cannot be written: the library writes PDA_T1.log and so on instead",
             "sudo chown " + ownership() + " " + file);
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
    std::vector<std::string> nodes;
    for (const HidNode& node : findHidNodes()) {
        if (hasIds(node, m_ini.vendorId, m_ini.productId)) {
            nodes.push_back(node.node);
        }
    }
    const std::string ids = m_ini.vendorId + ":" + m_ini.productId;
    if (nodes.empty()) {
        problem("node",
                "no hidraw node of a USB device " + ids + ": plug the terminal in, or correct the ini",
                "lsusb");
        return;
    }
    m_node = nodes.back();
    if (nodes.size() > 1) {
        warn("node",
             std::to_string(nodes.size()) + " nodes belong to USB devices " + ids + "; the last one, " +
                 m_node + ", is used. Unplug the others if that is the wrong one",
             "udevadm info " + m_node);
    } else {
        ok("node", m_node + " belongs to USB device " + ids);
    }
    checkPermissions();
    checkUsers();
}

void Doctor::checkPermissions() {
    if (::access(m_node.c_str(), R_OK | W_OK) == 0) {
        m_isUsable = true;
        ok("permissions", "you may read and write " + m_node);
    } else {
        problem("permissions", "you may not read and write " + m_node,
                commandToWriteRule(m_ini.vendorId, m_ini.productId));
    }
}

void Doctor::checkUsers() {
    const NodeUsers found = findUsersOf(m_node);
    for (const NodeUser& user : found.users) {
        problem("users",
                "process " + std::to_string(user.processId) + " (" + user.name + ") has " + m_node +
                    " open: each of you takes the other's replies",
                "kill " + std::to_string(user.processId));
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

void Doctor::checkRules() {
    const std::string ids = m_ini.vendorId + ":" + m_ini.productId;
    const std::vector<UdevRuleFile> files = findUdevRules(m_ini.vendorId, m_ini.productId);
    for (const UdevRuleFile& file : files) {
        const fs::path path(file.path);
        if (file.isInTime()) {
            ok("rules", file.path + " is for " + ids);
        } else {
            const fs::path earlier = path.parent_path() / "70-pdalink.rules";
            warn("rules", file.path + " comes too late: \"uaccess\" works before 73-seat-late.rules only",
                 "sudo mv " + file.path + " " + earlier.string() + " && sudo udevadm control --reload");
        }
    }
    if (files.empty()) {
        warn("rules", "no udev rule is for " + ids + ", so the node's permissions are those of any device",
             commandToWriteRule(m_ini.vendorId, m_ini.productId));
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
