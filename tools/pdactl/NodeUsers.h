#pragma once

#include <string>
#include <vector>

namespace pdactl {

/** Another process that has a node open. */
struct NodeUser {
    int processId = 0;
    std::string name;
};

struct NodeUsers {
    std::vector<NodeUser> users;
    /** Processes of other users, into which this one cannot look. */
    int hiddenProcesses = 0;
};

/** Whether a node is none of the kernel's, but that of a simulated device. */
bool isSimulated(const std::string& node);

/** Looks through /proc. */
NodeUsers findUsersOf(const std::string& node);

} // namespace pdactl
