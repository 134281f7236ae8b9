#pragma once

#include <gmock/gmock.h>

namespace pdalink::test {

/// Matches one line on standard error, which is all that a process says that is stopped. The emulator of
/// another machine adds one of its own.
inline auto isOneLine() {
    return testing::MatchesRegex("[^\n]+\n(qemu: uncaught target signal [^\n]+\n)?");
}

} // namespace pdalink::test
