#include "UdevRules.h"

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

// The first hides files of the same name in the second.
constexpr std::array Places{"/etc/udev/rules.d", "/usr/lib/udev/rules.d"};

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

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

bool namesIds(const std::string& rule, const std::string& vendorId, const std::string& productId) {
    const std::string text = lowerCase(rule);
    return contains(text, "\"" + lowerCase(vendorId) + "\"") &&
           contains(text, "\"" + lowerCase(productId) + "\"");
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
    return grantsByMode || !grantsByLogin || fs::path(path).filename() < SeatRules;
}

std::vector<UdevRuleFile> findUdevRules(const std::string& vendorId, const std::string& productId) {
    std::vector<UdevRuleFile> found;
    for (const auto& [name, path] : ruleFiles()) {
        UdevRuleFile file{path};
        bool isNamed = false;
        for (const std::string& rule : rulesIn(path)) {
            if (namesIds(rule, vendorId, productId)) {
                isNamed = true;
                file.grantsByMode = file.grantsByMode || contains(rule, "MODE") || contains(rule, "GROUP");
                file.grantsByLogin = file.grantsByLogin || contains(rule, "uaccess");
            }
        }
        if (isNamed) {
            found.push_back(file);
        }
    }
    return found;
}

std::string commandToWriteRule(const std::string& vendorId, const std::string& productId) {
    return R"(echo 'SUBSYSTEM=="hidraw", ATTRS{idVendor}==")" + lowerCase(vendorId) +
           "\", ATTRS{idProduct}==\"" + lowerCase(productId) +
           "\", MODE=\"0660\", GROUP=\"plugdev\", TAG+=\"uaccess\"' | "
           "sudo tee /etc/udev/rules.d/70-pdalink.rules && sudo udevadm control --reload && "
           "sudo udevadm trigger --subsystem-match=hidraw";
}

} // namespace pdactl
