#pragma once

#include "log/Report.h"

#include <string>
#include <vector>

namespace pdactl::log {

/** When which transactions took place; failures stand out by form and colour. */
std::string timelineChart(const std::vector<Exchange>& exchanges);

/** How the times of each kind are spread, on a logarithmic scale. */
std::string latencyChart(const std::vector<Latency>& kinds);

} // namespace pdactl::log
