#pragma once

#include "ProcessFacts.h"

#include <gtest/gtest.h>

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
inline testing::AssertionResult descriptorsBecome(int count) {
    if (pdalink::test::waitUntil([count] { return descriptors() <= count; })) {
        return testing::AssertionSuccess();
    }
    testing::AssertionResult failure = testing::AssertionFailure() << "more than " << count << " are open:";
    for (const std::string& target : pdalink::test::descriptorTargets()) {
        failure << ' ' << target;
    }
    return failure;
}
