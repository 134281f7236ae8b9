#pragma once

#include "Session.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

/// What became of a list of steps.
struct Report {
    std::size_t steps = 0; ///< those that were as the model says
    std::uint64_t exchanges = 0;
    std::uint64_t hash = 0; ///< over all calls of the node, with their times, and all responses
    std::int64_t virtualSeconds = 0;
    std::array<Outcome, 100> outcomes{}; ///< of the first steps
    bool hasFailed = false;
    std::array<char, 1000> failure{};
};

/// How steps are carried out.
struct RunOptions {
    bool knowsShortening = true;
    bool isQuiet = true; ///< what the steps print of their own is not shown
};

/// Carries steps out in a process of their own, so that nothing is left over from others, and a crash ends
/// nothing else.
Report runSteps(const std::vector<Step>& steps, const RunOptions& options);

/// As few and as plain steps as can be found that fail too.
std::vector<Step> shrink(std::vector<Step> steps, const RunOptions& options);
