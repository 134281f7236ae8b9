#pragma once

#include <string>
#include <vector>

namespace pdactl {

/// Why this process cannot use a node.
struct Obstacle {
    std::string text;
    std::string command; ///< that removes it, or that shows more
};

/// Looks for the reason why a node may not be read and written, or is not there.
Obstacle findObstacle(const std::string& node);

/// Another process that has a node open.
struct NodeUser {
    int processId = 0;
    std::string name;
};

struct NodeUsers {
    std::vector<NodeUser> users;
    /// Processes of other users, into which this one cannot look.
    int hiddenProcesses = 0;
};

/// Looks through /proc.
NodeUsers findUsersOf(const std::string& node);

} // namespace pdactl
