#include "UdevRules.h"

#include "ShellQuoting.h"
#include "UdevRuleLine.h"

#include <grp.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <system_error>

namespace pdactl {

namespace {

namespace fs = std::filesystem;

// Each hides files of the same name in those behind it.
constexpr std::array Places{"/etc/udev/rules.d", "/run/udev/rules.d", "/usr/local/lib/udev/rules.d",
                            "/usr/lib/udev/rules.d"};

constexpr const char* HostGroup = "plugdev";

// The file in which the seat's rules turn the tag into permissions.
constexpr const char* SeatRules = "73-seat-late.rules";

// Lets the tests put rules where they may.
constexpr const char* RootVariable = "PDACTL_ROOT";

std::string rootDirectory() {
    const char* const root = std::getenv(RootVariable);
    return root != nullptr ? root : "";
}

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

/** The rules of a file, one in each element: without comments, those over several lines put together. */
std::vector<std::string> rulesIn(const fs::path& path) {
    std::vector<std::string> rules;
    std::ifstream file(path);
    std::string rule;
    for (std::string line; std::getline(file, line);) {
        if (rule.empty() && line.find_first_not_of(" \t") == line.find('#')) {
            continue;
        }
        const bool goesOn = !line.empty() && line.back() == '\\';
        rule += goesOn ? line.substr(0, line.size() - 1) : line;
        if (!goesOn) {
            rules.push_back(rule);
            rule.clear();
        }
    }
    return rules;
}

bool tagsForLogin(const RuleLine& rule) {
    return std::any_of(rule.begin(), rule.end(), [](const RulePart& part) {
        return part.key == "TAG" && !part.isCondition() && part.operation != "-=" && part.value == "uaccess";
    });
}

bool grants(const RuleLine& rule) {
    constexpr std::array Keys{"MODE", "GROUP", "OWNER"};
    return tagsForLogin(rule) || std::any_of(Keys.begin(), Keys.end(), [&rule](const char* key) {
               return !assigned(rule, key).empty();
           });
}

/** Without a mode, udev lets the group do all that the owner may. */
void takeGrants(UdevRuleFile& file, const RuleLine& rule) {
    constexpr unsigned long ReadAndWrite = 6;
    constexpr unsigned int GroupShift = 3;
    const std::string text = assigned(rule, "MODE");
    const std::string group = assigned(rule, "GROUP");
    const unsigned long mode = text.empty() ? 0 : std::strtoul(text.c_str(), nullptr, 8);
    const bool isForGroup = text.empty() || ((mode >> GroupShift) & ReadAndWrite) == ReadAndWrite;
    file.grantsToAll = file.grantsToAll || (mode & ReadAndWrite) == ReadAndWrite;
    file.group = !group.empty() && isForGroup ? group : file.group;
    file.grantsByLogin = file.grantsByLogin || tagsForLogin(rule);
}

/** Whether any rule of the file is for the device; what those grant that reach its hidraw node. */
bool readRules(UdevRuleFile& file, const std::string& vendorId, const std::string& productId) {
    bool isNamed = false;
    std::string label; // at which udev goes on with a hidraw node
    for (const std::string& text : rulesIn(file.path)) {
        const RuleLine rule = parseRule(text);
        if (assigned(rule, "LABEL") == label) {
            label.clear();
        }
        if (label.empty() && alwaysMeetsHidraw(rule)) {
            label = assigned(rule, "GOTO");
        }
        if (namesDevice(rule, vendorId, productId) && grants(rule)) {
            isNamed = true;
            if (label.empty() && canMeetHidraw(rule)) {
                file.reachesNode = true;
                takeGrants(file, rule);
            }
        }
    }
    return isNamed;
}

/** Name to path, in the order in which udev reads them. */
std::map<std::string, fs::path> ruleFiles() {
    std::map<std::string, fs::path> files;
    for (const char* place : Places) {
        std::error_code missing;
        for (const fs::directory_entry& entry : fs::directory_iterator(rootDirectory() + place, missing)) {
            if (entry.path().extension() == ".rules") {
                files.emplace(entry.path().filename(), entry.path());
            }
        }
    }
    return files;
}

} // namespace

bool UdevRuleFile::isInTime() const {
    return grantsToAll || !group.empty() || !grantsByLogin || fs::path(path).filename() < SeatRules;
}

std::vector<UdevRuleFile> findUdevRules(const std::string& vendorId, const std::string& productId) {
    std::vector<UdevRuleFile> found;
    for (const auto& [name, path] : ruleFiles()) {
        UdevRuleFile file;
        file.path = path;
        if (readRules(file, vendorId, productId)) {
            found.push_back(file);
        }
    }
    return found;
}

std::string commandToWriteRule(const std::string& vendorId, const std::string& productId) {
    const std::string makeGroup =
        ::getgrnam(HostGroup) == nullptr ? std::string("sudo groupadd -r ") + HostGroup + " && " : "";
    return makeGroup + R"(echo 'SUBSYSTEM=="hidraw", ATTRS{idVendor}==")" + lowerCase(vendorId) +
           R"(", ATTRS{idProduct}==")" + lowerCase(productId) + R"(", MODE="0660", GROUP=")" + HostGroup +
           R"(", TAG+="uaccess"' | sudo tee )" +
           shellWord(rootDirectory() + Places[0] + "/70-pdalink.rules") + " && " + commandToApplyRules();
}

std::string commandToApplyRules() {
    return "sudo udevadm control --reload && sudo udevadm trigger --subsystem-match=hidraw";
}

std::string commandToMoveRule(const UdevRuleFile& file) {
    const fs::path earlier = fs::path(file.path).parent_path() / "70-pdalink.rules";
    return "sudo mv " + shellWord(file.path) + " " + shellWord(earlier) + " && " + commandToApplyRules();
}

} // namespace pdactl
