#pragma once

#include "SimulatedTerminal.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace pdalink::test {

/// A simulated terminal that fails the running test for everything a host has done against the protocol.
///
/// A test that provokes violations on purpose takes them away with takeViolations().
class TestTerminal : public pdasim::SimulatedTerminal {
public:
    using SimulatedTerminal::SimulatedTerminal;
    TestTerminal(const TestTerminal&) = delete;
    TestTerminal& operator=(const TestTerminal&) = delete;
    ~TestTerminal() {
        for (const std::string& violation : violations()) {
            ADD_FAILURE() << "the terminal objects: " << violation;
        }
    }
};

} // namespace pdalink::test
