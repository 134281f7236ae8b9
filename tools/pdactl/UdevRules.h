#pragma once

#include <string>
#include <vector>

namespace pdactl {

/** A file of udev rules that names a device. */
struct UdevRuleFile {
    std::string path;
    bool grantsByMode = false;  ///< by permission bits or a group
    bool grantsByLogin = false; ///< to whoever sits at the machine ("uaccess")

    /** Whether it is read early enough for what it grants. */
    bool isInTime() const;
};

/** The files that name both ids, those left out that another file of the same name hides. */
std::vector<UdevRuleFile> findUdevRules(const std::string& vendorId, const std::string& productId);

/** The one command that gives a device to whoever sits at the machine, and to the group of its host. */
std::string commandToWriteRule(const std::string& vendorId, const std::string& productId);

} // namespace pdactl
