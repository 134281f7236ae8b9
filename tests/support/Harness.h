#pragma once

#include <string>

namespace pdalink::test {

/// How the supervising process tells the test process where its directories are.
constexpr const char* kLibraryDirectoryVariable = "PDALINK_TEST_LIBRARY_DIRECTORY";
constexpr const char* kScratchDirectoryVariable = "PDALINK_TEST_SCRATCH_DIRECTORY";

/// What a test program was built with.
struct HarnessSettings {
    /// The shared library under test; empty for a program that contains the code under test.
    std::string library;
    /// The name under which the dynamic linker looks for it.
    std::string libraryName;
    /// Suppressions of third-party findings for the sanitizers.
    std::string addressSuppressions;
    std::string threadSuppressions;
};

/// True in the test process, false in the process that the tester started.
bool isSupervised();

/// Runs the program once more as the test process, in private directories that are gone afterwards.
///
/// The library is reached through a private copy of it, so that each test process has an ini and a log of its
/// own; a program that contains the code is copied itself. Ends as the test process ended, by exit code or
/// signal.
[[noreturn]] void supervise(const HarnessSettings& settings, char** arguments);

} // namespace pdalink::test
