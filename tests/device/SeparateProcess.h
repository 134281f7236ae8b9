#pragma once

#include "ProgramRun.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

/// Runs the test that calls this once more, in a process of its own, up to the action, which that process is
/// expected not to survive; it ends with 0 if it does.
///
/// Not googletest's death tests: their child is a clone of this process, and waits for ever for a lock that
/// another thread, of the simulated devices, happens to hold at that moment.
template <typename Action>
pdalink::test::ProgramResult runInSeparateProcess(const Action& action) {
    constexpr const char* marker = "PDALINK_TEST_SEPARATE_PROCESS";
    if (std::getenv(marker) != nullptr) {
        action();
        std::_Exit(EXIT_SUCCESS);
    }
    const testing::TestInfo* const test = testing::UnitTest::GetInstance()->current_test_info();
    const std::string name = std::string(test->test_suite_name()) + "." + test->name();
    return pdalink::test::runProgram({"/proc/self/exe", "--gtest_filter=" + name}, {{marker, "1"}});
}
