#!/usr/bin/env bash
# Prints how many lines and branches the tests and the fuzzers' inputs reach, by folder: scripts/coverage.sh
#
# Fails when a line of the library is not reached and scripts/uncovered.txt does not say why.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/common.sh

install_packages "${build_packages[@]}" "${test_packages[@]}" gcovr
cmake --preset debug -B build/coverage --log-level=WARNING -D PDALINK_BENCH=OFF \
    -D CMAKE_UNITY_BUILD=ON -D CMAKE_UNITY_BUILD_BATCH_SIZE=16 \
    -D CMAKE_C_FLAGS=--coverage -D "CMAKE_CXX_FLAGS=--coverage -fprofile-update=atomic" >/dev/null
cmake --build build/coverage -- --quiet
find build/coverage -name '*.gcda' -delete
# What looks at the built files themselves would see the counters; a million calls reach no more than 20,000 do.
ctest --test-dir build/coverage --parallel 24 --output-log "$PWD/build/coverage/tests.log" --quiet \
    --exclude-regex '^(LibraryFile|InstalledHeaders|SourceTree|CompilerSettings|LongSimulation)\.' ||
    echo "Not all tests passed: see build/coverage/tests.log" >&2
gcovr --root . --object-directory build/coverage --exclude-throw-branches --json build/coverage/coverage.json -j "$(nproc)" \
    --exclude-directories ".*CompilerId.*" --filter '(util|device|analysis|interface|simulator|tools)/' build/coverage
scripts/coverage.py build/coverage/coverage.json scripts/uncovered.txt
