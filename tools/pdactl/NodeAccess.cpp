#include "NodeAccess.h"

#include "NodeUsers.h"
#include "ShellQuoting.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

namespace pdactl {

namespace {

/** The last of the rules that are read in time and give the node to a group or to all: it decides. */
UdevRuleFile decisive(const std::vector<UdevRuleFile>& rules) {
    const auto last = std::find_if(rules.rbegin(), rules.rend(), [](const UdevRuleFile& file) {
        return file.grantsToAll || !file.group.empty();
    });
    return last == rules.rend() ? UdevRuleFile() : *last;
}

Obstacle missingApplication(const std::string& refusal, const UdevRuleFile& rule) {
    return {refusal + ": " + rule.path + " has not been applied to it, or another rule undoes it",
            commandToApplyRules()};
}

/** Whether the user database has this user in a group, of which a running session may not know yet. */
bool isListedIn(gid_t group) {
    constexpr int Most = 1024;
    const passwd* const user = ::getpwuid(::getuid());
    if (user == nullptr) {
        return false;
    }
    std::vector<gid_t> groups(Most);
    int count = Most;
    (void)::getgrouplist(user->pw_name, user->pw_gid, groups.data(), &count);
    groups.resize(static_cast<std::size_t>(std::clamp(count, 0, Most)));
    return std::find(groups.begin(), groups.end(), group) != groups.end();
}

Obstacle missingNode(const std::string& node) {
    if (isSimulated(node)) {
        return {node + " is that of a simulated terminal, which has ended: start it again, and take the "
                       "settings that it prints",
                "pdasim serve"};
    }
    const std::string number =
        "/sys/class/hidraw/" + std::filesystem::path(node).filename().string() + "/dev";
    return {node +
                " is not there, although the kernel has the device; a container gets it by docker run "
                "--device=" +
                node,
            "sudo mknod -m 600 " + shellWord(node) + " c $(tr : ' ' < " + shellWord(number) + ")"};
}

/** The rules give the node to a group. */
Obstacle missingMembership(const std::string& refusal, const UdevRuleFile& rule, const struct stat& node) {
    const group* const entry = ::getgrnam(rule.group.c_str());
    if (entry == nullptr) {
        return {refusal + ": " + rule.path + " gives it to group " + rule.group + ", which does not exist",
                "sudo groupadd -r " + shellWord(rule.group) + " && " + commandToApplyRules()};
    }
    constexpr mode_t Needed = S_IRGRP | S_IWGRP;
    if (node.st_gid != entry->gr_gid || (node.st_mode & Needed) != Needed) {
        return missingApplication(refusal, rule);
    }
    if (isListedIn(entry->gr_gid)) {
        return {refusal + ": you are in group " + rule.group +
                    " since you logged in; log in again, or begin a shell that knows",
                "newgrp " + shellWord(rule.group)};
    }
    return {refusal + ": it is for group " + rule.group + ", in which you are not; log in again afterwards",
            "sudo usermod -aG " + shellWord(rule.group) + " \"$(id -un)\""};
}

} // namespace

Obstacle findObstacle(const std::string& node, const std::vector<UdevRuleFile>& rules,
                      const std::string& commandToWriteRule) {
    const std::string refusal = "you may not read and write " + node;
    struct stat status {};
    if (::stat(node.c_str(), &status) != 0) {
        return missingNode(node);
    }
    const UdevRuleFile rule = decisive(rules);
    if (rule.grantsToAll) {
        return missingApplication(refusal, rule);
    }
    if (!rule.group.empty()) {
        return missingMembership(refusal, rule, status);
    }
    return {refusal, commandToWriteRule};
}

} // namespace pdactl
