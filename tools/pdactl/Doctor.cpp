#include "Commands.h"
#include "Machine.h"
#include "Text.h"
#include "schema/Schema.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <system_error>

namespace pdactl {

namespace {

namespace fs = std::filesystem;

using Findings = std::vector<Finding>;

constexpr const char* kOwner = "\"$(id -un)\"";

bool isWritable(const std::string& path) {
    return ::access(path.c_str(), W_OK) == 0;
}

bool exists(const std::string& path) {
    return ::access(path.c_str(), F_OK) == 0;
}

bool isDirectory(const std::string& path) {
    std::error_code unknown;
    return fs::is_directory(path, unknown);
}

/// The group of a directory that is meant for several users, of whom each has a log of their own.
std::optional<gid_t> sharingGroup(const std::string& directory) {
    struct stat status {};
    return ::stat(directory.c_str(), &status) == 0 && (status.st_mode & S_IWGRP) != 0
               ? std::optional(status.st_gid)
               : std::nullopt;
}

std::string commandToMoveAway(const std::string& path) {
    return "sudo mv " + shellWord(path) + " " + shellWord(path + ".old");
}

Finding examineLibrary() {
    std::error_code error;
    const fs::path file = fs::canonical(libraryFile(), error);
    const std::string path = error ? libraryFile() : file.string();
    const std::string name = fs::path(path).filename();
    const std::size_t version = name.find(".so."); // in the name of the file itself
    return {"ok", "library",
            path + ", version " + (version == std::string::npos ? "unknown" : name.substr(version + 4))};
}

Finding examineIni(const IniFile& ini) {
    const std::string path = iniFile();
    if (!exists(path)) {
        return {"problem", "ini",
                path +
                    " is not there: the library finds no terminal. The ids of the sample follow; lsusb shows "
                    "yours",
                "printf 'VID=0x1209\\nPID=0x0001\\n' | sudo tee " + shellWord(path)};
    }
    if (isDirectory(path)) {
        return {"problem", "ini", path + " is a folder: the library finds no terminal",
                commandToMoveAway(path)};
    }
    if (::access(path.c_str(), R_OK) != 0) {
        return {"problem", "ini", path + " is there, but you may not read it: the library finds no terminal",
                "sudo chmod a+r " + shellWord(path)};
    }
    if (ini.danger) {
        return *ini.danger;
    }
    if (!hasIds(ini)) {
        return {"problem", "ini",
                path + ": VID \"" + ini.vendorId + "\" and PID \"" + ini.productId +
                    "\" have to be four hexadecimal digits each; lsusb shows them",
                "sudo ${EDITOR:-vi} " + shellWord(path)};
    }
    return {"ok", "ini", path + " says " + ini.vendorId + ":" + ini.productId};
}

Finding examineLogFile(const std::string& directory) {
    const std::string file = directory + "/PDA.log";
    if (isDirectory(file)) {
        return {"warning", "log", file + " is a folder: the library writes PDA_T1.log and so on instead",
                commandToMoveAway(file)};
    }
    if (!exists(file) || isWritable(file)) {
        return {"ok", "log", file + " can be written"};
    }
    if (sharingGroup(directory)) {
        return {"ok", "log",
                file + " is another user's; beside it the library writes PDA_T1.log and so on for you"};
    }
    return {"warning", "log", file + " cannot be written: the library writes PDA_T1.log and so on instead",
            std::string("sudo chown ") + kOwner + " " + shellWord(file)};
}

Finding examineLog() {
    const std::string directory = logDirectory();
    const std::string command =
        std::string("sudo install -d -m 750 -o ") + kOwner + " " + shellWord(directory);
    if (isDirectory(directory)) {
        const std::string refusal = directory + " cannot be written: nothing is logged";
        const std::optional<gid_t> group = sharingGroup(directory);
        if (::access(directory.c_str(), W_OK | X_OK) == 0) {
            return examineLogFile(directory);
        }
        return group ? missingMembership("log", refusal, *group)
                     : Finding{"problem", "log", refusal, command};
    }
    std::error_code unknown;
    if (fs::exists(fs::symlink_status(directory, unknown))) { // a link that leads nowhere, too
        return {"problem", "log", directory + " is not a folder and does not lead to one: nothing is logged",
                commandToMoveAway(directory)};
    }
    if (isWritable(libraryDirectory())) {
        return {"ok", "log", directory + " can be made"};
    }
    return {"problem", "log", directory + " is not there, and you may not make it: nothing is logged",
            command};
}

/// The library takes the last one, whatever it is.
Finding warnOfSeveral(const std::vector<HidNode>& nodes, const std::string& ids) {
    const HidNode& used = nodes.back();
    const std::string count = std::to_string(nodes.size());
    if (std::all_of(nodes.begin(), nodes.end(),
                    [&](const HidNode& node) { return node.usbPath == used.usbPath; })) {
        return {"warning", "node",
                "the USB device " + ids + " has " + count + " HID interfaces; the node of the last one, " +
                    used.node +
                    ", is used. If the terminal does not answer there, take this node away, so that "
                    "the one before it is used",
                commandToUnbind(used)};
    }
    return {"warning", "node",
            count + " nodes belong to USB devices " + ids + "; the last one, " + used.node +
                ", is used. Unplug the others if that is the wrong one",
            "udevadm info " + shellWord(used.node)};
}

/// The terminal's node, who may use it and who does.
Findings examineNode(const IniFile& ini) {
    std::vector<HidNode> nodes = findHidNodes();
    nodes.erase(std::remove_if(nodes.begin(), nodes.end(),
                               [&](const HidNode& node) {
                                   return ::strcasecmp(node.vendorId.c_str(), ini.vendorId.c_str()) != 0 ||
                                          ::strcasecmp(node.productId.c_str(), ini.productId.c_str()) != 0;
                               }),
                nodes.end());
    const std::string ids = ini.vendorId + ":" + ini.productId;
    if (nodes.empty()) {
        return {{"problem", "node",
                 "no hidraw node of a USB device " + ids + ": plug the terminal in, or correct the ini",
                 "lsusb"}};
    }
    const std::string node = nodes.back().node;
    Findings findings = examineUsers(node);
    findings.insert(findings.begin(), examinePermissions(node));
    findings.insert(findings.begin(), nodes.size() > 1
                                          ? warnOfSeveral(nodes, ids)
                                          : Finding{"ok", "node", node + " belongs to USB device " + ids});
    return findings;
}

/// Everything between a host and its terminal, in the order in which a host would meet it. Without the
/// library: some of it makes the library's process exit.
Findings examineMachine() {
    const IniFile ini = readIni(iniFile());
    Findings findings{examineLibrary(), examineIni(ini), examineLog()};
    const Findings orphans = findOrphans();
    findings.insert(findings.end(), orphans.begin(), orphans.end());
    if (orphans.empty()) {
        findings.push_back({"ok", "orphan", "every hidraw node belongs to a USB device"});
    }
    if (hasIds(ini)) {
        const Findings more = examineNode(ini);
        findings.insert(findings.end(), more.begin(), more.end());
    }
    return findings;
}

/// Whether it makes sense to call the library, which would not make this process exit.
bool canAskTerminal(const Findings& findings) {
    const auto isOk = [&](const char* check) {
        return std::any_of(findings.begin(), findings.end(), [&](const Finding& finding) {
            return finding.check == check && finding.health == "ok";
        });
    };
    return isOk("ini") && isOk("orphan") && isOk("permissions");
}

/// What a terminal says when it is asked.
Finding askTerminal(const Settings& settings) {
    const Transaction& code = *findCode("600002");
    std::string response;
    const Outcome outcome = ask(Host(settings), code, makeRequest(code, {}), response);
    if (outcome.exitCode != Success) {
        return {"problem", "answer", outcome.message, "tail " + shellWord(logDirectory() + "/PDA.log")};
    }
    return {"ok", "answer",
            "the terminal answers: it is " + outcome.fields.front().value.toString().toStdString()};
}

void print(const Findings& findings) {
    for (const Finding& finding : findings) {
        std::cout << finding.health << std::string(9 - finding.health.size(), ' ') << finding.text << '\n';
        if (!finding.command.empty()) {
            std::cout << "         " << finding.command << '\n';
        }
    }
    std::cout << std::flush;
}

void printJson(const Findings& findings) {
    QJsonArray array;
    for (const Finding& finding : findings) {
        QJsonObject object{{"health", QString::fromStdString(finding.health)},
                           {"check", QString::fromStdString(finding.check)},
                           {"text", QString::fromStdString(finding.text)}};
        if (!finding.command.empty()) {
            object.insert("command", QString::fromStdString(finding.command));
        }
        array.append(object);
    }
    std::cout << QJsonDocument(array).toJson().constData() << std::flush;
}

int examine(const Settings& settings) {
    Findings findings = examineMachine();
    if (canAskTerminal(findings)) {
        findings.push_back(askTerminal(settings));
    }
    if (settings.asJson) {
        printJson(findings);
    } else {
        print(findings);
    }
    return std::any_of(findings.begin(), findings.end(),
                       [](const Finding& finding) { return finding.health == "problem"; })
               ? LocalFailure
               : Success;
}

} // namespace

QJsonObject findingsSchema() {
    schema::Members members = schema::members("check:string text:string command:string");
    members.back().isOptional = true;
    members.push_back({"health", schema::text("^(ok|warning|problem)$")});
    return schema::listOf(schema::object(members));
}

void addDoctorCommand(Program& program) {
    CLI::App* const command =
        program.app.add_subcommand("doctor", "Find out why a host cannot reach its terminal");
    command->footer("One line for each finding: ok, warning or problem, and below what is not ok the command "
                    "that fixes it or shows more.\n"
                    "Exit code: 1 with a problem, else 0.\n"
                    "Example: pdactl doctor");
    setAction(*command, program, [&program] { return examine(program); });
}

} // namespace pdactl
