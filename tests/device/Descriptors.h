#pragma once

#include "ProcessFacts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

/// How many files the process has open, besides those that the simulated devices' own threads open and close
/// whenever they like: the sockets on which they answer for a node, and the event of GLib's worker. Whoever
/// opens a node also holds its terminal, which is counted.
inline int descriptors() {
    const std::vector<std::string> targets = pdalink::test::descriptorTargets();
    return static_cast<int>(std::count_if(targets.begin(), targets.end(), [](const std::string& target) {
        return target != "anon_inode:[eventfd]" && target.rfind("socket:", 0) != 0;
    }));
}

/// Waits until no more than `count` files are open: the simulated devices open some for a moment.
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
