#pragma once

#include "ChannelCost.h"

#include <string>
#include <vector>

namespace pdalink::bench {

/// A table for people: minimum and median of each figure, their ratios, and how they stand to the goals.
std::string costTable(const std::string& nodeKind, const Plan& plan,
                      const std::vector<Comparison>& comparisons);

/// Every single figure, for programs.
std::string costJson(const std::string& nodeKind, const Plan& plan,
                     const std::vector<Comparison>& comparisons);

} // namespace pdalink::bench
