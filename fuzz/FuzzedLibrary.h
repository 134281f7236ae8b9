#pragma once

#include "Fuzz.h"
#include "LibraryDirectory.h"

namespace fuzz {

/// The directory of the library under test, whose prints go nowhere.
inline const pdalink::test::LibraryDirectory& libraryDirectory() {
    static const pdalink::test::LibraryDirectory only;
    static const bool isQuiet = std::freopen("/dev/null", "w", stdout) != nullptr;
    require(isQuiet, "there is /dev/null");
    return only;
}

} // namespace fuzz
