#pragma once

#include <string>
#include <vector>

namespace pdactl {

/** A file of udev rules that says who may use a device. */
struct UdevRuleFile {
    std::string path;
    bool reachesNode = false; ///< else its rules are for the USB device itself, which has another node
    bool grantsToAll = false;
    std::string group;          ///< that may use the node; empty when none may
    bool grantsByLogin = false; ///< to whoever sits at the machine ("uaccess")

    /** Whether it is read early enough for what it grants. */
    bool isInTime() const;
};

/** The files that name a device, those left out that another file of the same name hides. */
std::vector<UdevRuleFile> findUdevRules(const std::string& vendorId, const std::string& productId);

/** The one command that gives a device to whoever sits at the machine, and to the group of its host. */
std::string commandToWriteRule(const std::string& vendorId, const std::string& productId);

/** The one command that makes udev apply the rules to the nodes that are there. */
std::string commandToApplyRules();

/** The one command that makes udev read a file of rules early enough. */
std::string commandToMoveRule(const UdevRuleFile& file);

} // namespace pdactl
