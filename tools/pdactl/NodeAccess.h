#pragma once

#include "UdevRules.h"

#include <string>
#include <vector>

namespace pdactl {

/** What keeps this process from a node. */
struct Obstacle {
    std::string text;
    std::string command; ///< that takes it away, or that leads to the next obstacle
};

/** Looks for the reason why a node may not be read and written, or is not there. */
Obstacle findObstacle(const std::string& node, const std::vector<UdevRuleFile>& rules,
                      const std::string& commandToWriteRule);

} // namespace pdactl
