#pragma once

#include "ProcessFacts.h"

#include <algorithm>
#include <string>
#include <vector>

/// How many files the process has open.
inline int descriptors() {
    const std::vector<std::string> targets = pdalink::test::descriptorTargets();
    // GLib's worker, which the test bed starts whenever it likes, comes with such a file.
    return static_cast<int>(std::count_if(targets.begin(), targets.end(), [](const std::string& target) {
        return target != "anon_inode:[eventfd]";
    }));
}

/// Waits until no more than so many files are open: the simulated devices open some for a moment.
inline bool descriptorsBecome(int count) {
    return pdalink::test::waitUntil([count] { return descriptors() <= count; });
}
