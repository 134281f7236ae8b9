#pragma once

#include "LibraryDirectory.h"
#include "VirtualTime.h"

#include <gtest/gtest.h>

namespace pdalink::test {

/// A test in virtual time.
class VirtualTest : public testing::Test {
protected:
    VirtualTest() {
        virtual_time::begin(1);
        restartClock();
    }

    virtual_time::Time passed() const { return virtual_time::now() - m_begin; }
    void restartClock() { m_begin = virtual_time::now(); }

    /// Has the node deliver something after a delay.
    static void deliverAfter(virtual_time::Time delay, const NodeInput& input) {
        virtual_time::at(virtual_time::now() + delay, [input] { node().deliver(input); });
    }

    const LibraryDirectory m_directory;

private:
    virtual_time::Time m_begin{0};
};

} // namespace pdalink::test
