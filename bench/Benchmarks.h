#pragma once

#include <benchmark/benchmark.h>

#include <cstdlib>

namespace pdalink::bench {

/// Something did not do its work.
inline bool g_failed = false;

/// The library under test did not do its work: its times are worth nothing, and the program fails.
inline void failUnless(bool condition, benchmark::State& state, const char* what) {
    if (!condition) {
        state.SkipWithError(what);
        g_failed = true;
    }
}

/// Runs the program's benchmarks as its arguments say. Returns the exit code.
inline int runBenchmarks(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return EXIT_FAILURE;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return g_failed ? EXIT_FAILURE : EXIT_SUCCESS;
}

} // namespace pdalink::bench
