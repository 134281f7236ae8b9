#!/usr/bin/env bash
# What every change must pass: format, clang-tidy, the release build with all its tests, the tests of the library under the
# address and undefined-behaviour sanitizers, those of its threads under the thread sanitizer.
#
# With --deep also: the slow tests, all tests under both sanitizers, the benchmarks, clang-tidy on the tests' own sources,
# a minute of fuzzing, the library as it is released.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/common.sh

case "${1-}" in
    '') deep=false ;;
    --deep) deep=true ;;
    *)
        echo "usage: scripts/test.sh [--deep]" >&2
        exit 64
        ;;
esac

install_packages "${build_packages[@]}" "${test_packages[@]}"

presets=(release asan tsan)
# What is built and tested of each; everything where nothing is said.
declare -A targets=() tests=()
# Several files at a time, which takes half as long.
options=(-D CMAKE_UNITY_BUILD=ON -D CMAKE_UNITY_BUILD_BATCH_SIZE=16)
checked=(simulator tools) # by clang-tidy, besides the library
if $deep; then
    checked+=(tests fuzz bench examples)
else
    # What is slow and seldom changes is left out.
    tests[release]="--exclude-regex ^(LargestFile|LongSimulation|Of/EverySystemCall|InstalledHeaders|SourceTree|CompilerSettings)\\."
    targets[asan]="tests/util/all tests/device/all tests/analysis/all tests/interface/all tests/simulation/all pdalink_soak"
    tests[asan]="--label-regex library|threads"
    targets[tsan]="tests/util/all tests/device/all pdalink_exchange_test pdalink_hosts_test pdalink_soak"
    tests[tsan]="--label-regex threads"
fi

step "format"
git ls-files --cached --others --exclude-standard -- '*.cpp' '*.c' '*.h' | xargs clang-format --dry-run --Werror

for preset in "${presets[@]}"; do
    step "$preset: build"
    bench=false
    [ "$preset" != release ] || bench=$deep
    cmake --preset "$preset" --log-level=WARNING -D PDALINK_BENCH=$bench "${options[@]}"
    # shellcheck disable=SC2086 # words
    cmake --build --preset "$preset" --target ${targets[$preset]:-all} -- --quiet
done

# The waits of the protocol are idle, so far more tests than cores run side by side, and clang-tidy takes what they leave.
nice -n 19 scripts/tidy.sh "${checked[@]}" >build/tidy.log 2>&1 &
tidy=$!

failed=0
for preset in "${presets[@]}"; do
    step "$preset: test"
    # shellcheck disable=SC2086 # words
    ctest --preset "$preset" ${tests[$preset]-} --output-junit results.xml || {
        # A reply has 100 ms to arrive, on a machine that others may keep busy: what failed beside other tests must
        # pass by itself.
        step "$preset: failed above, once more, one at a time"
        rerun_failed "build/$preset" || failed=1
    }
done

step "clang-tidy"
wait "$tidy" || failed=1
cat build/tidy.log

for preset in "${presets[@]}"; do
    step "$preset: skipped tests"
    scripts/skips.py "$preset" "build/$preset/results.xml" scripts/permitted_skips.txt || failed=1
done
if $deep; then
    step "fuzz"
    scripts/fuzz.sh 60 || failed=1
    step "release"
    scripts/release.sh || failed=1
fi
step "end"
exit "$failed"
