#pragma once

#include "HidNodes.h"

#include <string>
#include <vector>

namespace pdactl {

/** Nodes that belong to no USB device: the library ends its process when it meets one. */
std::vector<HidNode> findOrphanNodes();

/** The one command that takes a node away until the next restart or replugging. */
std::string commandToUnbind(const HidNode& node);

/** What is the matter with such a node. */
std::string describeOrphan(const HidNode& orphan);

/** Throws a Failure that names the first such node and how to be rid of it. */
void requireNoOrphanNodes();

} // namespace pdactl
