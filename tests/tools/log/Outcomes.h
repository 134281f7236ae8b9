#pragma once

#include "Failure.h"
#include "log/Entry.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace pdactl::log::test {

/** What the entries were read from. */
inline std::string bytesOf(const std::vector<Entry>& entries) {
    std::string bytes;
    for (const Entry& entry : entries) {
        bytes += entry.head + entry.text + entry.lineEnd;
    }
    return bytes;
}

/** What an action fails with, which has to go with this exit code; "none" when it does not fail. */
inline std::string failureOf(ExitCode exitCode, const std::function<void()>& action) {
    try {
        action();
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.exitCode(), exitCode);
        return failure.what();
    }
    return "none";
}

} // namespace pdactl::log::test
