#pragma once

#include <benchmark/benchmark.h>

namespace pdalink::bench {

/// The library under test did not do its work: its times are worth nothing, and the program fails.
void failUnless(bool condition, benchmark::State& state, const char* what);

/// Runs the program's benchmarks as its arguments say. Returns the exit code.
int runBenchmarks(int argc, char** argv);

/// Makes sure that the program runs on a private copy of the library, with an ini and a log of its own.
///
/// To be called first in main(): the program is executed once more for it, and only that run returns from
/// here.
void ensurePrivateRun(char** arguments);

/// Sends what the library prints into the void, where it costs the same on every machine, as long as the
/// object lives: standard output, and Qt's messages, which are formatted and written as Qt does it.
class QuietOutput {
public:
    QuietOutput();
    QuietOutput(const QuietOutput&) = delete;
    QuietOutput& operator=(const QuietOutput&) = delete;
    ~QuietOutput();

private:
    int m_output;
};

} // namespace pdalink::bench
